// Compares minimap2's indexes with those that qel_minimap2 builds or loads.

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <memory>
#include <random>
#include <set>
#include <sstream>
#include <stdexcept>
#include <tuple>

#include <gtest/gtest.h>
#include <mmpriv.h>

#include "qel_minimap2/index/from_fasta/reference_index.h"
#include "qel_minimap2/index/from_mmi/index_file.h"
#include "qel_minimap2/index/index_loading.h"
#include "qel_minimap2/index/mapped/index_writer.h"
#include "qel_minimap2/index/mapped/mapped_index.h"
#include "qel_minimap2/mapping/seed_collection.h"
#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"
#include "tests/qel_minimap2/index/minimap2_buckets.h"
#include "tests/qel_minimap2/index/seed_lookup.h"

namespace {

using namespace qel_minimap2;
using Positions = std::vector<std::uint64_t>;

mm_idxopt_t OptionsFor(int k, int window, short flags = 0, int bucket_bits = 14) {
    mm_idxopt_t options{};
    mm_idxopt_init(&options);
    options.k = static_cast<short>(k);
    options.w = static_cast<short>(window);
    options.flag = flags;
    options.bucket_bits = static_cast<short>(bucket_bits);
    options.batch_size = std::numeric_limits<std::int64_t>::max();
    return options;
}

IndexPointer BuiltByMinimap2(const std::string& path, const mm_idxopt_t& options, const char* write_to = nullptr) {
    auto* const reader = mm_idx_reader_open(path.c_str(), &options, write_to);
    IndexPointer index(mm_idx_reader_read(reader, 3));
    mm_idx_reader_close(reader);
    return index;
}

// In this program, which is linked without the wrapper library, mm_idx_get and mm_idx_cal_max_occ are minimap2's own.
Positions PositionsOf(const mm_idx_t& index, std::uint64_t minimizer) {
    const auto* const table = SeedTable::Of(index);
    int count = 0;
    const auto* const first =
        table != nullptr ? Tests::Find(*table, minimizer, count) : mm_idx_get(&index, minimizer, &count);
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

// Returns the first difference between `ours` and `theirs`, which minimap2 made; empty if there is none.
std::string Difference(const mm_idx_t& ours, const mm_idx_t& theirs) {
    if (Sequences(ours) != Sequences(theirs)) {
        return "sequences, names or bases";
    }
    std::size_t keys = 0;
    for (std::uint64_t bucket = 0; bucket < std::uint64_t{1} << static_cast<unsigned>(theirs.b); ++bucket) {
        const auto* const table = Tests::TableOfBucket(theirs, bucket);
        for (khint_t slot = 0; table != nullptr && slot != kh_end(table); ++slot) {
            if (kh_exist(table, slot)) {
                ++keys;
                const auto minimizer = kh_key(table, slot) >> 1U << static_cast<unsigned>(theirs.b) | bucket;
                // Also looks up the same minimizer with its highest bit flipped, which is usually not in the reference.
                for (const auto m : {minimizer, minimizer ^ std::uint64_t{1} << (2 * theirs.k - 1)}) {
                    if (PositionsOf(ours, m) != PositionsOf(theirs, m)) {
                        return "positions of minimizer " + std::to_string(m);
                    }
                }
            }
        }
    }
    std::mt19937_64 random(1);
    for (int i = 0; i < 20000; ++i) {
        const auto minimizer = random() & ((std::uint64_t{1} << 2 * theirs.k) - 1);
        if (PositionsOf(ours, minimizer) != PositionsOf(theirs, minimizer)) {
            return "positions of random minimizer " + std::to_string(minimizer);
        }
    }
    for (const auto fraction : {0.9F, 0.5F, 0.3F, 0.1F, 0.03F, 0.01F, 1e-3F, 2e-4F, 1e-7F, 0.0F}) {
        if (keys > 0 && ThresholdOf(ours, fraction) != ThresholdOf(theirs, fraction)) {
            return "threshold at " + std::to_string(fraction);
        }
    }
    return "";
}

// Generates references that are hard to index. The seed determines them.
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

// Writes the index to a file, checks the file and returns it mapped.
IndexPointer Mapped(const mm_idx_t& index, const Tests::TemporaryFolder& folder) {
    const auto path = folder.Path("mapped");
    IndexWriter writer(path);
    WriteIndex(index, writer);
    writer.Publish();
    CheckIndex(path);
    return MapIndex(path);
}

TEST(IndexComparison, IndexesBuiltFromFastaMatchMinimap2) {
    const Tests::TemporaryFolder folder;
    const std::tuple<int, int, std::size_t> cases[] = {{15, 10, 400000}, {15, 10, 300},    {15, 10, 30000},
                                                       {13, 5, 200000},  {11, 32, 150000}, {5, 3, 70000},
                                                       {15, 1, 80000},   {7, 60, 90000},   {15, 10, 1}};
    std::uint32_t seed = 0;
    for (const auto& [k, window, bases] : cases) {
        const auto options = OptionsFor(k, window);
        const auto path = folder.Write("reference.fa", MadeReference(++seed).Fasta(bases));
        const auto ours = IndexReference(path, options), theirs = BuiltByMinimap2(path, options);
        EXPECT_EQ(Difference(*ours, *theirs), "") << k << " " << window;
        EXPECT_EQ(Difference(*Mapped(*ours, folder), *theirs), "") << k << " " << window;
    }
    const auto reference = folder.Path("reference.fa");
    for (const auto& wrong : {OptionsFor(14, 10), OptionsFor(17, 10), OptionsFor(15, 10, MM_I_HPC)}) {
        EXPECT_THROW(IndexReference(reference, wrong), std::invalid_argument);
    }
}

TEST(IndexComparison, LoadedPrebuiltIndexesMatchMinimap2) {
    const Tests::TemporaryFolder folder;
    const auto fasta = folder.Write("reference.fa", MadeReference(77).Fasta(250000));
    const auto built = folder.Path("built.mmi");
    const mm_idxopt_t all[] = {OptionsFor(15, 10),       OptionsFor(14, 10),           OptionsFor(15, 17),
                               OptionsFor(22, 32),       OptionsFor(23, 25),           OptionsFor(28, 3),
                               OptionsFor(4, 5),         OptionsFor(19, 10, MM_I_HPC), OptionsFor(25, 12, MM_I_HPC),
                               OptionsFor(16, 12, 0, 0), OptionsFor(19, 10, 0, 4),     OptionsFor(25, 10, 0, 20)};
    for (const auto& options : all) {
        const auto theirs = BuiltByMinimap2(fasta, options, built.c_str());
        const auto ours = LoadIndexFile(StoredFile(built)), mapped = Mapped(*ours, folder);
        for (const auto* const index : {ours.get(), mapped.get()}) {
            EXPECT_EQ(Difference(*index, *theirs), "")
                << options.k << " " << options.w << " " << options.bucket_bits << " " << (index == mapped.get());
        }
    }
}

// Some numbers of occurrences are near 255, a table's limit between rare and frequent minimizers.
TEST(IndexComparison, ThresholdsMatchMinimap2AtEveryRank) {
    const Tests::TemporaryFolder folder;
    unsigned state = 3;
    auto bases = Tests::RandomBases(state, 3000);
    for (const int occurrences : {2, 3, 163, 254, 255, 256, 257, 258, 2048}) {
        const auto piece = Tests::RandomBases(state, 40) + "N";
        for (int i = 0; i < occurrences; ++i) {
            bases += piece;
        }
    }
    const auto path = folder.Write("reference.fa", ">r\n" + bases + "\n");
    const auto ours = Mapped(*IndexReference(path, OptionsFor(15, 10)), folder);
    const auto theirs = BuiltByMinimap2(path, OptionsFor(15, 10));
    std::size_t keys = 0;
    for (std::size_t bucket = 0; bucket < std::size_t{1} << 14U; ++bucket) {
        const auto* const table = Tests::TableOfBucket(*theirs, bucket);
        keys += table != nullptr ? kh_size(table) : 0;
    }
    std::set<std::int32_t> thresholds;
    for (std::size_t rank = 0; rank < keys; ++rank) {
        const auto fraction = static_cast<float>(1.0 - static_cast<double>(rank) / static_cast<double>(keys));
        for (const auto near : {std::nextafter(fraction, 0.0F), fraction, std::nextafter(fraction, 1.0F)}) {
            ASSERT_EQ(ThresholdOf(*ours, near), ThresholdOf(*theirs, near)) << rank << " of " << keys << ", " << near;
            thresholds.insert(ThresholdOf(*ours, near));
        }
    }
    for (const std::int32_t occurrences : {1, 2, 3, 163, 254, 255, 256, 257, 258, 2048}) {
        EXPECT_TRUE(thresholds.contains(occurrences + 1)) << occurrences;
    }
}

// By default, minimap2 splits a large reference into parts.
TEST(IndexComparison, AReferenceOfAnySizeIsOnePart) {
    const Tests::TemporaryFolder folder;
    const auto path = folder.Write("reference.fa", MadeReference(5).Fasta(100000));
    const auto whole = BuiltByMinimap2(path, OptionsFor(15, 10));
    auto small_parts = OptionsFor(15, 10);
    small_parts.mini_batch_size = 1000;
    small_parts.batch_size = 1000;
    EXPECT_EQ(Difference(*LoadIndex(path, small_parts), *whole), "");
}

// Returns a description of a read's seeds with their positions, and frees the seeds.
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

class SeedCollection : public testing::TestWithParam<int> {};

TEST_P(SeedCollection, FindsTheSeedsThatMinimap2Finds) {
    const Tests::TemporaryFolder folder;
    const auto path = folder.Write("reference.fa", MadeReference(9).Fasta(60000));
    const auto k = static_cast<unsigned>(GetParam());
    const auto theirs = BuiltByMinimap2(path, OptionsFor(GetParam(), 5), folder.Path("built.mmi").c_str());
    const auto ours = LoadIndexFile(StoredFile(folder.Path("built.mmi"))), mapped = Mapped(*ours, folder);
    std::mt19937_64 random(3);
    for (int read = 0; read < 300; ++read) {
        // Some of the read's minimizers are in the index, and some are repeated.
        std::vector<mm128_t> list(1 + random() % (read % 2 == 0 ? 4 : 150));
        std::uint64_t at = 0;
        for (auto& minimizer : list) {
            const auto number = random() % (1U << 14U);
            const auto* const table = Tests::TableOfBucket(*theirs, number);
            const auto slot = table != nullptr ? static_cast<khint_t>(random() % kh_end(table)) : 0;
            const auto hash = table != nullptr && kh_exist(table, slot) ? kh_key(table, slot) >> 1U << 14U | number
                                                                        : random() >> (64 - 2 * k);
            at += random() % 9 + 1;
            minimizer = {random() % 3 == 0 && &minimizer != list.data() ? (&minimizer)[-1].x : hash << 8U | k,
                         at << 1U};
        }
        const mm128_v minimizers{list.size(), list.size(), list.data()};
        const int length = static_cast<int>(at) + 20, most = 1 + read % 7;
        for (const auto& [of_any, distance] :
             {std::pair(most, 0), std::pair(most, 30), std::pair(50, 0), std::pair(50, 30)}) {
            Seeds expected{};
            expected.seeds = mm_collect_matches(nullptr, &expected.count, length, most, of_any, distance, theirs.get(),
                                                &minimizers, &expected.position_count, &expected.repetitive_bases,
                                                &expected.minimizer_count, &expected.minimizer_places);
            const auto text = Text(expected);
            for (const auto* const index : {ours.get(), mapped.get()}) {
                ASSERT_EQ(
                    Text(CollectSeeds({nullptr, minimizers, length, most, of_any, distance}, *SeedTable::Of(*index))),
                    text);
            }
        }
    }
}

TEST(MinimizerFilter, LeavesToMinimap2AllListsThatMinimap2Shortens) {
    std::mt19937_64 random(12);
    int removed = 0, left = 0;
    for (int read = 0; read < 3000; ++read) {
        std::vector<mm128_t> list(1 + random() % (read % 3 == 0 ? 9000 : 200));
        for (auto& minimizer : list) {
            minimizer = {random() >> 32U << 8U | 15U, 0};
        }
        const auto copies = std::min<std::size_t>(random() % 60, list.size());
        std::fill_n(list.begin(), copies, list.back());
        const int most = 1 + static_cast<int>(random() % 30);
        const float fraction = random() % 2 == 0 ? 0.01F : 0.1F;
        mm128_v minimizers{list.size(), list.size(), list.data()};
        const bool may = MayHaveFrequent(minimizers, most, fraction);
        mm_seed_mz_flt(nullptr, &minimizers, most, fraction);
        const bool has = minimizers.n < list.size();
        ASSERT_TRUE(may || !has) << list.size() << " minimizers, " << copies << " equal";
        removed += has ? 1 : 0;
        left += may ? 1 : 0;
    }
    EXPECT_GT(removed, 300);
    EXPECT_LT(left, 2 * removed);
}

INSTANTIATE_TEST_SUITE_P(KmerLengths, SeedCollection, testing::Values(11, 25));

}  // namespace
