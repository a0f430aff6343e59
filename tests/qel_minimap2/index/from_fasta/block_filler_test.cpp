#include "qel_minimap2/index/from_fasta/block_filler.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include <gtest/gtest.h>

#include "tests/qel_minimap2/index/seed_lookup.h"

namespace {

using namespace qel_minimap2;

TEST(BlockFiller, PlacesMinimizersOfReferencesAboveFourGigabases) {
    constexpr std::uint32_t kLong = 2'000'000'000;
    const SequencePlaces places({{"a", 0, kLong}, {"none", kLong, 0}, {"b", kLong, kLong}, {"c", 2UL * kLong, kLong}});
    SeedTable table(15, 14);
    const EntryFormat format({10, 15, 14, 4, 0}, table.BitsInBlock());
    constexpr std::uint64_t kMinimizer = 0x2345'6789;
    std::vector<SketchedPiece> pieces;
    for (const std::uint64_t offset : {7UL, 2UL * kLong - 1, 2UL * kLong + 1'900'000'000}) {
        pieces.push_back({Pages(sizeof offset), std::vector<std::uint32_t>(table.BlockCount() + 1, 1)});
        auto& piece = pieces.back();
        std::fill_n(piece.begins.begin(), format.BlockOf(kMinimizer) + 1, 0);
        const auto entry = format.Entry(kMinimizer, offset, 1);
        std::memcpy(piece.entries.Data(), &entry, sizeof entry);
    }
    BlockFiller(table, format, places, pieces, nullptr).Fill(format.BlockOf(kMinimizer));
    int count = 0;
    const auto* const first = Tests::Find(table, kMinimizer, count);
    using Positions = std::vector<std::uint64_t>;
    EXPECT_EQ(Positions(first, first + count),
              (Positions{7 << 1 | 1, 2UL << 32 | (kLong - 1UL) << 1 | 1, 3UL << 32 | 1'900'000'000UL << 1 | 1}));
}

}  // namespace
