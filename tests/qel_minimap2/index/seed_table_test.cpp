#include "qel_minimap2/index/seed_table.h"

#include <algorithm>
#include <ctime>
#include <iterator>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <mmpriv.h>

#include "qel_minimap2/index/packed_bases.h"
#include "tests/qel_minimap2/index/seed_lookup.h"

namespace {

using namespace qel_minimap2;

TEST(SeedTable, KeepsKeysThatAgreeInAllButTheHighestBit) {
    for (const unsigned k : {15U, 22U, 23U, 28U}) {
        SeedTable table(k, 14);
        table.MakeRoom(0, std::vector<std::uint32_t>(std::size_t{1} << table.BitsInBlock(), 3), 0);
        const std::uint64_t low = 5, high = low | std::uint64_t{1} << (2 * k - 15),
                            all = (std::uint64_t{1} << (2 * k - 14)) - 1;
        EXPECT_TRUE(table.Fill(3, {{low << 1U | 1U, 100}, {high << 1U | 1U, 200}, {all << 1U | 1U, 300}}));
        int count = 0;
        EXPECT_EQ(*Tests::Find(table, low << 14U | 3U, count), 100U) << k;
        EXPECT_EQ(*Tests::Find(table, high << 14U | 3U, count), 200U) << k;
        EXPECT_EQ(*Tests::Find(table, all << 14U | 3U, count), 300U) << k;
        EXPECT_EQ(Tests::Find(table, low << 14U | 4U, count), nullptr) << k;
        EXPECT_EQ(Tests::Find(table, (all ^ std::uint64_t{1} << (2 * k - 15)) << 14U | 3U, count), nullptr) << k;
    }
}

// A look-up would search hundreds of groups if the keys were not spread over the groups, or if it did not end at a
// group with a free slot.
TEST(SeedTable, SearchesFewGroups) {
    constexpr std::uint32_t kLookUps = 60000;
    const auto time_with = [&](std::uint32_t keys, std::uint64_t added) {
        std::vector<SeedTable::Entry> entries;
        for (std::uint32_t i = 0; i < keys; ++i) {
            entries.push_back({std::uint64_t{i} * 16001 << 1U | 1U, i});
        }
        SeedTable table(22, 14);
        table.MakeRoom(0, {keys}, 0);
        EXPECT_TRUE(table.Fill(0, entries));
        std::uint32_t found = 0;
        const auto start = std::clock();
        for (std::uint32_t i = 0; i < kLookUps; ++i) {
            const auto key = entries[i % keys].key >> 1U;
            found += table.Slot(key << 14U) != SeedTable::kNoSlot ? 1U : 0U;
            found += table.Slot((key + added) << 14U) != SeedTable::kNoSlot ? 1U : 0U;
        }
        const auto time = std::clock() - start;
        EXPECT_EQ(found, added == 0 ? 2 * kLookUps : kLookUps);
        return time;
    };
    EXPECT_LT(time_with(kLookUps, 1), 20 * time_with(13, 0)) << "much slower than look-ups in a single group";
}

// In the first block, the number of free slots whose rest or value is not 0.
std::int64_t FreeSlotsWithContent(const SeedTable& table) {
    const auto content = table.ContentOf(0);
    const auto slots = content.groups * 16;
    const auto* const keys = reinterpret_cast<const std::uint32_t*>(content.data);
    const bool has_rests = table.TableShape().has_rests;
    const auto* const values = reinterpret_cast<const std::uint64_t*>(keys + (has_rests ? 2 : 1) * slots);
    std::int64_t found = 0;
    for (std::uint64_t slot = 0; slot < slots; ++slot) {
        found += keys[slot] == UINT32_MAX && (values[slot] != 0 || (has_rests && keys[slots + slot] != 0)) ? 1 : 0;
    }
    return found;
}

// The lists of keys:
// - `crowded`, `packed` and `long_packed`: All keys hash to one group, five sixths into the bucket. A table multiplies
//   a key by a factor to find its group, so multiplying by the inverse of that factor makes keys for a chosen group.
//   `crowded` fills 188 groups: up to the bucket's end, and on from its start. The others would fill 1250, so their
//   buckets are sorted.
// - `alike`: The lowest 30 bits of the keys have only two different values.
TEST(SeedTable, FindsAllKeysAndRefusesDuplicates) {
    constexpr std::uint32_t kInverseOfFactor = 0x0E8B2F51;
    std::vector<SeedTable::Entry> spread, crowded, packed, long_packed, alike;
    for (std::uint32_t i = 0; packed.size() < 20000; ++i) {
        if (i < 5000) {
            spread.push_back({(std::uint64_t{i} * i) << 1U | 1U, i});
            alike.push_back({(std::uint64_t{i} % 4096 << 30U | i / 4096) << 1U | 1U, i});
        }
        if (const std::uint32_t key_bits = (i + 0xD6000000U) * kInverseOfFactor; key_bits >> 26U == 0) {
            packed.push_back({std::uint64_t{key_bits} << 1U | 1U, i});
            long_packed.push_back({(std::uint64_t{i} % 1024 << 32U | key_bits) << 1U | 1U, i});
        }
    }
    std::copy_n(packed.begin(), 3000, std::back_inserter(crowded));
    for (const auto& [k, entries] :
         {std::pair(22U, spread), {22U, crowded}, {22U, packed}, {28U, long_packed}, {28U, spread}, {28U, alike}}) {
        const auto size = static_cast<std::uint32_t>(entries.size());
        SeedTable table(k, 14);
        table.MakeRoom(0, {size, size}, 0);
        ASSERT_TRUE(table.Fill(0, entries)) << k << ' ' << size;
        int count = 0;
        for (const auto& [key, value] : entries) {
            ASSERT_EQ(*Tests::Find(table, key >> 1U << 14U, count), value);
        }
        EXPECT_EQ(Tests::Find(table, std::uint64_t{3} << 14U, count), nullptr);
        EXPECT_EQ(FreeSlotsWithContent(table), 0) << k << ' ' << size;
        // If `place` is odd, the duplicate loses the bit that marks a single position.
        for (const std::size_t place : {1U, 432U, size - 1}) {
            auto twice = entries;
            twice[place].key = twice[0].key & ~std::uint64_t{place % 2};
            SeedTable other(k, 14);
            other.MakeRoom(0, {0, size}, 0);
            EXPECT_FALSE(other.Fill(1, twice)) << place;
        }
    }
}

TEST(UnpackBases, UnpacksExactlyTheRange) {
    std::uint32_t words[6];
    std::mt19937 random(2);
    std::generate(std::begin(words), std::end(words), random);
    words[3] &= 0x33333333U;  // A word of valid base codes, which is unpacked faster.
    for (std::uint64_t begin = 0; begin < 48; ++begin) {
        std::string expected(49 - begin, '?');
        for (auto end = begin; end < 48; ++end) {
            std::string actual(expected.size(), '?');
            UnpackBases(words, begin, end, actual.data());
            EXPECT_EQ(actual, expected) << begin << " to " << end;
            expected[end - begin] = static_cast<char>(std::min(mm_seq4_get(words, end), 4U));
        }
    }
}

}  // namespace
