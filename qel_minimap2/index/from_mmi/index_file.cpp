#include "qel_minimap2/index/from_mmi/index_file.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include <minimap.h>

#include "qel_minimap2/index/from_mmi/index_layout.h"
#include "qel_minimap2/index/from_mmi/minimizer_sample.h"
#include "qel_minimap2/index/packed_bases.h"
#include "qel_minimap2/index/parallel.h"
#include "qel_minimap2/index/seed_table.h"

namespace qel_minimap2 {

namespace {

// A thread usually reads this many bytes at once, or a whole bucket if that is larger. They fit into a core's cache.
constexpr std::size_t kChunk = 1 << 16;

// Copies the packed bases to `words`, on several threads. Returns the offset, in bases, of each section of 256 bases
// that are all A. An A is stored as zero, so an incomplete copy of an index may end in such sections. Real genomes have
// hardly any such section.
std::vector<std::uint64_t> CopyBases(const IndexLayout& layout, std::uint32_t* words) {
    constexpr std::uint64_t kSectionWords = 32, kItemWords = kSectionWords << 13U;
    std::vector<std::vector<std::uint64_t>> zeros((layout.BaseWords() + kItemWords - 1) / kItemWords);
    ForEach(zeros.size(), [&](std::size_t item, unsigned) {
        const auto first = item * kItemWords, end = std::min(first + kItemWords, layout.BaseWords());
        layout.File().Read(layout.Bases() + first * sizeof *words, (end - first) * sizeof *words, words + first);
        std::vector<std::uint64_t> found;
        std::uint64_t bad = 0;
        for (auto section = first; section < end; section += kSectionWords) {
            const auto section_end = std::min(section + kSectionWords, end);
            std::uint32_t any = 0;
            for (auto i = section; i < section_end; ++i) {
                const auto word = words[i];
                any |= word;
                bad |= ImpossibleCodes(word);
            }
            if (any == 0) {
                found.push_back(section * 8);
            }
        }
        if (bad != 0) {
            throw DamagedIndex("invalid base codes");
        }
        zeros[item] = std::move(found);
    });
    std::vector<std::uint64_t> all;
    for (const auto& of_item : zeros) {
        all.insert(all.end(), of_item.begin(), of_item.end());
    }
    return all;
}

// Reads a block of buckets into a table and checks every count, position and key that minimap2 uses unchecked.
class BlockReader {
public:
    // `worker`: see ForEach. No other thread may use `window`.
    BlockReader(const IndexLayout& layout, FileWindow& window, MinimizerSample& sample, SeedTable& table,
                unsigned worker)
        : layout(layout), window(window), sample(sample), table(table), worker(worker) {}

    void Read(std::size_t block) {
        const auto first = block << table.BitsInBlock(), end = (block + 1) << table.BitsInBlock();
        std::vector<std::uint32_t> key_counts;
        std::uint64_t position_count = 0;
        for (auto bucket = first; bucket < end; ++bucket) {
            key_counts.push_back(layout.Bucket(bucket).key_count);
            position_count += layout.Bucket(bucket).position_count;
        }
        table.MakeRoom(block, key_counts, position_count);
        positions = table.Positions(block);
        for (auto bucket = first; bucket < end; ++bucket) {
            ReadBucket(bucket, layout.Bucket(end - 1).End());
        }
    }

private:
    // The file has each minimizer as a SeedTable::Entry, but the start of its list counts from the bucket's first
    // position.
    void ReadBucket(std::uint64_t bucket, std::uint64_t block_end) {
        const auto& stored = layout.Bucket(bucket);
        const auto* const bytes = window.At(stored.Positions(), stored.End() - stored.Positions(), block_end);
        std::copy_n(bytes, stored.position_count * sizeof *positions, reinterpret_cast<unsigned char*>(positions));
        entries.resize(stored.key_count);
        std::copy_n(bytes + (stored.Entries() - stored.Positions()), stored.key_count * sizeof entries[0],
                    reinterpret_cast<unsigned char*>(entries.data()));
        is_taken.assign(stored.position_count, 0);
        const auto& header = layout.Header();
        const std::uint64_t key_limit = std::uint64_t{1} << (2 * header.k);
        for (auto& [key, value] : entries) {
            const auto minimizer = (key >> 1U) << header.bucket_bits | bucket;
            if (key >> 1U > key_limit >> header.bucket_bits || minimizer >= key_limit) {
                throw DamagedIndex("an impossible minimizer");
            }
            if ((key & 1U) != 0) {
                TakePosition(minimizer, value);
            } else {
                TakeList(minimizer, value >> 32U, value & 0xFFFFFFFFU);
                value += positions_before << 32U;
            }
        }
        if (!table.Fill(bucket, entries)) {
            throw DamagedIndex("a duplicate minimizer");
        }
        if (std::find(is_taken.begin(), is_taken.end(), 0) != is_taken.end()) {
            throw DamagedIndex("positions that belong to no minimizer");
        }
        positions += stored.position_count;
        positions_before += stored.position_count;
    }

    void TakePosition(std::uint64_t minimizer, std::uint64_t position) {
        const auto sequence = position >> 32U;
        const auto last_base = (position & 0xFFFFFFFFU) >> 1U;
        const auto& sequences = layout.Sequences();
        if (sequence >= sequences.size() || last_base >= sequences[sequence].length ||
            last_base + 1 < layout.Header().k) {
            throw DamagedIndex("a position outside its sequence");
        }
        sample.Add(minimizer, position, worker);
    }

    // No position may belong to two minimizers: if many minimizers claim the same few positions, aligning one read can
    // take minutes.
    void TakeList(std::uint64_t minimizer, std::uint64_t begin, std::uint64_t count) {
        if (count == 0 || begin + count > is_taken.size()) {
            throw DamagedIndex("an empty list of positions, or one outside its bucket");
        }
        for (auto i = begin; i < begin + count; ++i) {
            if (is_taken[i]++ != 0) {
                throw DamagedIndex("positions that belong to two minimizers");
            }
            if (i > begin && positions[i] <= positions[i - 1]) {
                throw DamagedIndex("positions that are not sorted");
            }
            TakePosition(minimizer, positions[i]);
        }
    }

    const IndexLayout& layout;
    FileWindow& window;
    MinimizerSample& sample;
    SeedTable& table;
    const unsigned worker;
    std::uint64_t* positions = nullptr;     // The bucket's positions, in the table.
    std::uint64_t positions_before = 0;     // Number of positions in the block's buckets read so far.
    std::vector<SeedTable::Entry> entries;  // The bucket's entries.
    std::vector<std::uint8_t> is_taken;     // For each position of the bucket, 1 if it belongs to a minimizer.
};

}  // namespace

bool HasIndexMagic(const std::string& path) {
    return StoredFile(path).Start(sizeof MM_IDX_MAGIC - 1) == MM_IDX_MAGIC;
}

IndexPointer LoadIndexFile(const StoredFile& file) {
    const IndexLayout layout(file);
    PackedWords bases;
    Resize(bases, layout.BaseWords());
    MinimizerSample sample(layout, bases.get(), CopyBases(layout, bases.get()));

    auto table = std::make_unique<SeedTable>(layout.Header().k, layout.Header().bucket_bits);
    std::vector<FileWindow> windows(WorkerLimit(), FileWindow(file, kChunk));
    ForEach(table->BlockCount(), [&](std::size_t block, unsigned worker) {
        BlockReader(layout, windows[worker], sample, *table, worker).Read(block);
    });
    sample.Check();
    return MakeIndex(layout.Header(), layout.Sequences(), std::move(table), std::move(bases));
}

}  // namespace qel_minimap2
