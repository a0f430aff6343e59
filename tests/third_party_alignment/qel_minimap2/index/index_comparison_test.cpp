// Indexes of our own making and loading beside the library's.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iterator>
#include <limits>
#include <memory>
#include <random>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <tuple>

#include <gtest/gtest.h>
#include <mmpriv.h>
#include <pthread.h>

#include "tests/common/meeting.h"
#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"
#include "third_party_alignment/qel_minimap2/index/block_filler.h"
#include "third_party_alignment/qel_minimap2/index/index_buckets.h"
#include "third_party_alignment/qel_minimap2/index/index_file.h"
#include "third_party_alignment/qel_minimap2/index/index_loading.h"
#include "third_party_alignment/qel_minimap2/index/packed_bases.h"
#include "third_party_alignment/qel_minimap2/index/parallel.h"
#include "third_party_alignment/qel_minimap2/index/reference_index.h"
#include "third_party_alignment/qel_minimap2/mapping/seed_collection.h"

namespace {

using namespace qel_minimap2;
using Positions = std::vector<std::uint64_t>;

mm_idxopt_t OptionsFor(int k, int window, short flags = 0) {
    mm_idxopt_t options{};
    mm_idxopt_init(&options);
    options.k = static_cast<short>(k);
    options.w = static_cast<short>(window);
    options.flag = flags;
    options.batch_size = std::numeric_limits<std::int64_t>::max();
    return options;
}

IndexPointer WithLibrary(const std::string& path, const mm_idxopt_t& options, const char* write_to = nullptr) {
    auto* const reader = mm_idx_reader_open(path.c_str(), &options, write_to);
    IndexPointer index(mm_idx_reader_read(reader, 3));
    mm_idx_reader_close(reader);
    return index;
}

const std::uint64_t* Find(const SeedTable& table, std::uint64_t minimizer, int& count) {
    const auto slot = table.Slot(minimizer);
    count = 0;
    return slot != SeedTable::kNoSlot ? table.AtSlot(minimizer, slot, count) : nullptr;
}

// This program calls the library's own mm_idx_get and mm_idx_cal_max_occ.
Positions PositionsOf(const mm_idx_t& index, std::uint64_t minimizer) {
    const auto* const table = SeedTable::Of(index);
    int count = 0;
    const auto* const first = table != nullptr ? Find(*table, minimizer, count) : mm_idx_get(&index, minimizer, &count);
    return {first, first + count};
}

std::int32_t ThresholdOf(const mm_idx_t& index, float fraction) {
    const auto* const table = SeedTable::Of(index);
    return table != nullptr ? table->OccurrenceThreshold(fraction) : mm_idx_cal_max_occ(&index, fraction);
}

std::string Sequences(const mm_idx_t& index) {
    std::string text = std::to_string(index.w) + " " + std::to_string(index.k) + " " + std::to_string(index.b) + " " +
                       std::to_string(index.flag) + "\n";
    std::uint64_t bases = 0;
    for (std::uint32_t i = 0; i < index.n_seq; ++i) {
        const auto& sequence = index.seq[i];
        text.append(sequence.name).append(" ").append(std::to_string(sequence.len)).append(" ");
        text.append(std::to_string(sequence.offset)).append("\n");
        bases += sequence.len;
    }
    for (std::uint64_t i = 0; i < bases; ++i) {
        text += static_cast<char>('0' + mm_seq4_get(index.S, i));
    }
    return text;
}

// Nothing when an index answers as the library's, which has the library's tables.
std::string Difference(const mm_idx_t& ours, const mm_idx_t& library) {
    if (Sequences(ours) != Sequences(library)) {
        return "sequences, names or bases";
    }
    std::size_t keys = 0;
    for (std::uint64_t bucket = 0; bucket < std::uint64_t{1} << static_cast<unsigned>(library.b); ++bucket) {
        const auto* const table = static_cast<const MinimizerTable*>(BucketsOf(library)[bucket].table);
        for (khint_t slot = 0; table != nullptr && slot != kh_end(table); ++slot) {
            if (kh_exist(table, slot)) {
                ++keys;
                const auto minimizer = kh_key(table, slot) >> 1U << static_cast<unsigned>(library.b) | bucket;
                if (PositionsOf(ours, minimizer) != PositionsOf(library, minimizer)) {
                    return "positions of minimizer " + std::to_string(minimizer);
                }
            }
        }
    }
    std::mt19937_64 random(1);
    for (int i = 0; i < 20000; ++i) {
        const auto minimizer = random() & ((std::uint64_t{1} << 2 * library.k) - 1);
        if (PositionsOf(ours, minimizer) != PositionsOf(library, minimizer)) {
            return "minimizer " + std::to_string(minimizer) + ", which the reference may not have";
        }
    }
    for (const auto fraction : {0.9F, 0.5F, 0.3F, 0.1F, 0.03F, 0.01F, 1e-3F, 2e-4F, 1e-7F, 0.0F}) {
        if (keys > 0 && ThresholdOf(ours, fraction) != ThresholdOf(library, fraction)) {
            return "threshold at " + std::to_string(fraction);
        }
    }
    return "";
}

// References with what is hard on an index, the same ones for a seed.
class MadeReference {
public:
    explicit MadeReference(std::uint32_t seed) : generator(seed) {}

    std::string Fasta(std::size_t bases) {
        for (int i = 0; i < 5; ++i) {
            families.push_back(Random(Below(600) + 20, "ACGT"));
        }
        std::string text;
        for (int i = 0; bases > 0; ++i) {
            const auto kind = Below(8);
            const auto length = kind == 0 ? 0 : kind < 4 ? Below(60) : Below(bases) + 1;
            text.append(">s").append(std::to_string(i)).append(" described\n");
            const auto sequence = Sequence(length);
            for (std::size_t at = 0; at < sequence.size(); at += 70) {
                text.append(sequence, at, 70).append("\n");
            }
            bases -= std::min(bases, length);
        }
        return text;
    }

private:
    std::size_t Below(std::size_t end) { return generator() % end; }
    std::string Random(std::size_t count, const std::string& letters) {
        std::string text(count, ' ');
        std::generate(text.begin(), text.end(), [&] { return letters[Below(letters.size())]; });
        return text;
    }
    std::string Sequence(std::size_t length) {
        std::string sequence;
        while (sequence.size() < length) {
            auto family = families[Below(families.size())];
            for (auto changes = Below(family.size() / 8 + 1); changes > 0; --changes) {
                family[Below(family.size())] = Random(1, "ACGT")[0];
            }
            const auto unit = Random(Below(9) + 1, "ACGT");
            switch (Below(7)) {
                case 0:
                    for (auto copies = Below(100); copies > 0; --copies) {
                        sequence += unit;
                    }
                    break;
                case 1:
                    sequence += Random(Below(30), "NRYn-.");
                    break;
                case 2:
                    sequence += Random(Below(400), "acgtuU");
                    break;
                case 3:
                    sequence += Random(Below(2000), "ACGT");
                    break;
                default:
                    sequence += family;
            }
        }
        return sequence.substr(0, length);
    }

    std::mt19937 generator;
    std::vector<std::string> families;
};

TEST(IndexComparison, OwnIndexingGivesTheLibrarysIndex) {
    const Tests::TemporaryFolder folder;
    const std::tuple<int, int, std::size_t> cases[] = {{15, 10, 400000}, {15, 10, 300},    {15, 10, 30000},
                                                       {13, 5, 200000},  {11, 32, 150000}, {5, 3, 70000},
                                                       {15, 1, 80000},   {7, 60, 90000},   {15, 10, 1}};
    std::uint32_t seed = 0;
    for (const auto& [k, window, bases] : cases) {
        const auto options = OptionsFor(k, window);
        ASSERT_TRUE(CanIndexReference(options));
        const auto path = folder.Write("reference.fa", MadeReference(++seed).Fasta(bases));
        EXPECT_EQ(Difference(*IndexReference(path, options), *WithLibrary(path, options)), "") << k << " " << window;
    }
    for (const auto& cannot : {OptionsFor(14, 10), OptionsFor(17, 10), OptionsFor(15, 10, MM_I_HPC)}) {
        EXPECT_FALSE(CanIndexReference(cannot));
    }
}

TEST(IndexComparison, PrebuiltIndexesLoadAsTheyDoWithTheLibrary) {
    const Tests::TemporaryFolder folder;
    const auto fasta = folder.Write("reference.fa", MadeReference(77).Fasta(250000));
    const auto built = folder.Path("built.mmi");
    const mm_idxopt_t all[] = {OptionsFor(15, 10), OptionsFor(14, 10),           OptionsFor(15, 17),
                               OptionsFor(22, 32), OptionsFor(23, 25),           OptionsFor(28, 3),
                               OptionsFor(4, 5),   OptionsFor(19, 10, MM_I_HPC), OptionsFor(16, 12, MM_I_HPC)};
    for (const auto& options : all) {
        const auto library = WithLibrary(fasta, options, built.c_str());
        for (const bool with_seed_table : {true, false}) {
            const auto ours = LoadIndexFile(built, with_seed_table);
            EXPECT_EQ(SeedTable::Of(*ours) != nullptr, with_seed_table && options.k <= 22);
            EXPECT_EQ(Difference(*ours, *library), "") << options.k << " " << options.w;
        }
    }
}

// The library would leave what is beyond the size of a part, 4 Gb by default, to be read as a second one.
TEST(IndexComparison, AReferenceIsOnePartWhateverItsSize) {
    const Tests::TemporaryFolder folder;
    const auto path = folder.Write("reference.fa", MadeReference(5).Fasta(100000));
    const auto whole = WithLibrary(path, OptionsFor(15, 10));
    auto small_parts = OptionsFor(15, 10);
    small_parts.mini_batch_size = 1000;
    small_parts.batch_size = 1000;
    for (const bool with_seed_table : {true, false}) {
        const auto index = LoadIndex(path.c_str(), with_seed_table, small_parts);
        EXPECT_EQ(SeedTable::Of(*index) != nullptr, with_seed_table);
        EXPECT_EQ(Difference(*index, *whole), "");
    }
}

TEST(UnpackBases, UnpacksAnyRangeAndNoBaseMore) {
    std::uint32_t words[6];
    std::mt19937 random(2);
    std::generate(std::begin(words), std::end(words), [&] { return random() & 0x77777777U; });
    for (std::uint64_t begin = 0; begin < 48; ++begin) {
        std::string expected(49 - begin, '?');
        for (auto end = begin; end < 48; ++end) {
            std::string actual(expected.size(), '?');
            UnpackBases(words, begin, end, actual.data());
            EXPECT_EQ(actual, expected) << begin << " to " << end;
            expected[end - begin] = static_cast<char>(mm_seq4_get(words, end));
        }
    }
}

// What was collected from a read's minimizers, with the positions themselves; frees it.
std::string Text(const Seeds& seeds) {
    std::ostringstream text;
    text << seeds.position_count << " repetitive " << seeds.repetitive_bases;
    for (int i = 0; i < seeds.count; ++i) {
        const auto& seed = seeds.seeds[i];
        text << "\n"
             << seed.q_pos << " " << seed.q_span << " " << seed.seg_id << " " << seed.is_tandem << seed.flt << ":";
        std::copy_n(seed.cr, seed.n, std::ostream_iterator<std::uint64_t>(text, " "));
    }
    text << "\nplaces ";
    std::copy_n(seeds.minimizer_places, seeds.minimizer_count, std::ostream_iterator<std::uint64_t>(text, " "));
    std::free(seeds.seeds);
    std::free(seeds.minimizer_places);
    return text.str();
}

TEST(SeedCollection, GivesTheLibrarysSeeds) {
    const Tests::TemporaryFolder folder;
    const auto path = folder.Write("reference.fa", MadeReference(9).Fasta(60000));
    const auto options = OptionsFor(11, 5);
    const auto ours = IndexReference(path, options);
    const auto library = WithLibrary(path, options);
    std::mt19937 random(3);
    for (int read = 0; read < 300; ++read) {
        // Minimizers of the index and others, some of them more than once in a row.
        std::vector<mm128_t> list(1 + random() % (read % 2 == 0 ? 4 : 150));
        std::uint64_t at = 0;
        for (auto& minimizer : list) {
            const auto number = random() % (1U << 14U);
            const auto* const table = static_cast<const MinimizerTable*>(BucketsOf(*library)[number].table);
            const auto slot = table != nullptr ? static_cast<khint_t>(random() % kh_end(table)) : 0;
            const auto hash = table != nullptr && kh_exist(table, slot) ? kh_key(table, slot) >> 1U << 14U | number
                                                                        : random() % (1U << 22U);
            at += random() % 9 + 1;
            minimizer = {random() % 3 == 0 && &minimizer != list.data() ? (&minimizer)[-1].x : hash << 8U | 11,
                         at << 1U};
        }
        const mm128_v minimizers{list.size(), list.size(), list.data()};
        const int length = static_cast<int>(at) + 20, most = 1 + read % 7;
        for (const auto& [of_any, distance] :
             {std::pair(most, 0), std::pair(most, 30), std::pair(50, 0), std::pair(50, 30)}) {
            Seeds expected{};
            expected.seeds = mm_collect_matches(nullptr, &expected.count, length, most, of_any, distance, library.get(),
                                                &minimizers, &expected.position_count, &expected.repetitive_bases,
                                                &expected.minimizer_count, &expected.minimizer_places);
            ASSERT_EQ(Text(CollectSeeds({nullptr, minimizers, length, most, of_any, distance}, *SeedTable::Of(*ours))),
                      Text(expected));
        }
    }
}

TEST(SeedTable, KeepsKeysThatAgreeInAllButTheHighestBit) {
    SeedTable table(14);
    table.MakeRoom(0, std::vector<std::uint32_t>(std::size_t{1} << table.BitsInBlock(), 2), 0);
    EXPECT_TRUE(SeedTable::Fits(22, 14));
    EXPECT_FALSE(SeedTable::Fits(23, 14));
    const std::uint64_t low = 5, high = low | 1U << 29U;
    EXPECT_TRUE(table.Fill(3, {{low << 1U | 1U, 100}, {high << 1U | 1U, 200}}));
    int count = 0;
    EXPECT_EQ(*Find(table, low << 14U | 3U, count), 100U);
    EXPECT_EQ(*Find(table, high << 14U | 3U, count), 200U);
    EXPECT_EQ(Find(table, low << 14U | 4U, count), nullptr);
}

// Keys spread over the groups, and a group with room ends a look-up: else one would take hundreds of times as long.
TEST(SeedTable, LooksIntoFewGroups) {
    constexpr std::uint32_t kKeys = 60000;
    std::vector<SeedTable::Entry> entries;
    for (std::uint32_t i = 0; i < kKeys; ++i) {
        entries.push_back({std::uint64_t{i * 16001} << 1U | 1U, i});
    }
    SeedTable table(14);
    table.MakeRoom(0, {kKeys}, 0);
    ASSERT_TRUE(table.Fill(0, entries));
    const auto time_of = [&](std::uint64_t added) {
        std::size_t found = 0;
        const auto start = std::clock();
        for (const auto& [key, value] : entries) {
            found += table.Slot(((key >> 1U) + added) << 14U) != SeedTable::kNoSlot ? 1U : 0U;
        }
        EXPECT_EQ(found, added == 0 ? kKeys : 0);
        return std::clock() - start;
    };
    EXPECT_LT(time_of(0) + time_of(1), CLOCKS_PER_SEC / 20);
}

// The places of `crowded` are the first ones of the bucket (a key's place is proportional to its product with this
// factor's inverse), so that the groups there are full and most keys lie far behind.
TEST(SeedTable, FindsAllItsKeysAndNoKeyTwice) {
    constexpr std::uint32_t kKeys = 5000, kInverseOfFactor = 0x0E8B2F51;
    std::vector<SeedTable::Entry> spread, crowded;
    for (std::uint32_t i = 0; crowded.size() < kKeys; ++i) {
        if (i < kKeys) {
            spread.push_back({(std::uint64_t{i} * i) << 1U | 1U, i});
        }
        if (const std::uint32_t key_bits = i * kInverseOfFactor; key_bits >> 30U == 0) {
            crowded.push_back({std::uint64_t{key_bits} << 1U | 1U, i});
        }
    }
    for (auto entries : {spread, crowded}) {
        SeedTable table(14);
        table.MakeRoom(0, {kKeys, kKeys}, 0);
        ASSERT_TRUE(table.Fill(0, entries));
        int count = 0;
        for (const auto& [key, value] : entries) {
            ASSERT_EQ(*Find(table, key >> 1U << 14U, count), value);
        }
        EXPECT_EQ(Find(table, std::uint64_t{3} << 14U, count), nullptr);
        for (const std::size_t place : {1U, 4321U, kKeys - 1}) {  // Once as another key's, once as a repeated one.
            auto twice = entries;
            twice[place].key = twice[0].key & ~std::uint64_t{place % 2};
            SeedTable other(14);
            other.MakeRoom(0, {0, kKeys}, 0);
            EXPECT_FALSE(other.Fill(1, twice)) << place;
        }
    }
}

TEST(BlockFiller, PlacesMinimizersOfReferencesAboveFourGigabases) {
    constexpr std::uint32_t kLong = 2'000'000'000;
    const SequencePlaces places({{"a", 0, kLong}, {"none", kLong, 0}, {"b", kLong, kLong}, {"c", 2UL * kLong, kLong}});
    SeedTable table(14);
    const EntryFormat format({10, 15, 14, 4, 0}, table.BitsInBlock());
    constexpr std::uint64_t kMinimizer = 0x2345'6789;
    std::vector<SketchedPiece> pieces;
    for (const std::uint64_t offset : {7UL, 2UL * kLong - 1, 2UL * kLong + 1'900'000'000}) {
        auto& piece = pieces.emplace_back(Pages(sizeof offset), std::vector<std::uint32_t>(table.BlockCount(), 1));
        std::fill_n(piece.block_ends.begin(), format.BlockOf(kMinimizer), 0);
        const auto entry = format.Entry(kMinimizer, offset, 1);
        std::memcpy(piece.entries.Data(), &entry, sizeof entry);
    }
    BlockFiller(table, format, places, pieces).Fill(format.BlockOf(kMinimizer));
    int count = 0;
    const auto* const first = Find(table, kMinimizer, count);
    EXPECT_EQ(Positions(first, first + count),
              (Positions{7 << 1 | 1, 2UL << 32 | (kLong - 1UL) << 1 | 1, 3UL << 32 | 1'900'000'000UL << 1 | 1}));
}

TEST(ForEach, TheCallingThreadDoesItAloneWhereNoneCanBeStarted) {
    pthread_attr_t attributes{};
    ASSERT_EQ(pthread_getattr_default_np(&attributes), 0);
    auto none_fits = attributes;
    ASSERT_EQ(pthread_attr_setstacksize(&none_fits, std::size_t{1} << 50U), 0);
    ASSERT_EQ(pthread_setattr_default_np(&none_fits), 0);
    EXPECT_THROW(std::jthread([] {}), std::system_error);
    std::vector<unsigned> workers(100, 99);
    ForEach(workers.size(), [&](std::size_t item, unsigned worker) { workers[item] = worker; });
    ASSERT_EQ(pthread_setattr_default_np(&attributes), 0);
    EXPECT_EQ(workers, std::vector<unsigned>(100, 0));
}

TEST(ForEach, CallsForEveryItemOnceAndPassesTheFirstFailureOn) {
    std::vector<int> calls(1000);
    ForEach(calls.size(), [&](std::size_t item, unsigned worker) { calls[item] += worker < WorkerLimit() ? 1 : 1000; });
    EXPECT_EQ(calls, std::vector<int>(1000, 1));
    Tests::Meeting meeting(static_cast<int>(WorkerLimit()));
    ForEach(WorkerLimit(), [&](std::size_t, unsigned) { meeting.Attend(); });
    EXPECT_FALSE(meeting.Failed()) << "all workers are at work at once";
    EXPECT_EQ(Tests::ErrorOf([] {
                  ForEach(100, [](std::size_t item, unsigned) {
                      if (item == 7) {
                          throw std::runtime_error("seven");
                      }
                  });
              }),
              "seven");
}

}  // namespace
