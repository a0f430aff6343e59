#include "qel_minimap2/index/mapped/table_check.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <vector>

#include "qel_minimap2/index/parallel.h"
#include "qel_minimap2/index/seed_table.h"

namespace qel_minimap2 {

namespace {

using CountByOccurrences = std::map<std::uint64_t, std::uint64_t>;

class BlockCheck {
public:
    BlockCheck(const SeedTable& table, const SeedTable::Parts& parts, std::size_t block)
        : table(table),
          parts(parts),
          block(block),
          claimed(parts.blocks[block].positions),
          minimizer_end(std::uint64_t{1} << (2 * table.TableShape().k)) {}

    // Returns, for each number of occurrences, how many minimizers have it.
    CountByOccurrences Run() {
        const auto first = block << table.BitsInBlock(), end = (block + 1) << table.BitsInBlock();
        std::uint64_t groups = 0;
        for (auto bucket = first; bucket < end; ++bucket) {
            if (parts.stretches[bucket].begin != groups) {
                throw DamagedFile("buckets with gaps or overlaps between them");
            }
            groups += parts.stretches[bucket].Groups();
            for (const auto& stored : table.MinimizersOf(bucket)) {
                CheckMinimizer(stored);
            }
        }
        if (groups != parts.blocks[block].groups) {
            throw DamagedFile("groups that belong to no bucket");
        }
        if (std::find(claimed.begin(), claimed.end(), false) != claimed.end()) {
            throw DamagedFile("positions that belong to no minimizer");
        }
        return counts;
    }

private:
    void CheckMinimizer(const SeedTable::Stored& stored) {
        if (stored.minimizer >= minimizer_end) {
            throw DamagedFile("an impossible minimizer");
        }
        if (table.Slot(stored.minimizer) != stored.slot) {
            throw DamagedFile("a minimizer where no look-up finds it");
        }
        std::uint32_t count = 0;
        const auto* const positions = table.AtSlot(stored.minimizer, stored.slot, count);
        if (positions == nullptr) {
            throw DamagedFile("an empty list of positions, or one outside its block");
        }
        if (!table.ArePossible(positions, count)) {
            throw DamagedFile("a position outside its sequence");
        }
        if (std::adjacent_find(positions, positions + count, std::greater_equal<>()) != positions + count) {
            throw DamagedFile("positions that are not sorted");
        }
        const auto* const lists = table.Positions(block);
        // Outside the lists, `positions` points to the value of a minimizer that occurs once.
        if (positions >= lists && positions < lists + claimed.size()) {
            Claim(static_cast<std::size_t>(positions - lists), count);
        }
        ++counts[count];
    }

    void Claim(std::size_t begin, std::size_t count) {
        for (auto i = begin; i < begin + count; ++i) {
            if (claimed[i]) {
                throw DamagedFile("positions that belong to two minimizers");
            }
            claimed[i] = true;
        }
    }

    const SeedTable& table;
    const SeedTable::Parts& parts;
    const std::size_t block;
    std::vector<bool> claimed;  // For each position of the block: whether it belongs to a minimizer.
    const std::uint64_t minimizer_end;
    CountByOccurrences counts;
};

}  // namespace

void CheckTable(const MappedLayout& layout) {
    const auto& header = layout.Header().index;
    const auto parts = layout.Table();
    const SeedTable table(header.k, header.bucket_bits, parts);
    std::mutex mutex;
    CountByOccurrences all;  // Guarded by the mutex.
    ForEach(table.BlockCount(), [&](std::size_t block, unsigned) {
        const auto counts = BlockCheck(table, parts, block).Run();
        const std::lock_guard lock(mutex);
        for (const auto& [occurrences, minimizers] : counts) {
            all[occurrences] += minimizers;
        }
    });
    if (!std::equal(all.begin(), all.end(), parts.counts.begin(), parts.counts.end(),
                    [](const auto& counted, const SeedTable::OccurrenceCount& stored) {
                        return counted.first == stored.occurrences && counted.second == stored.minimizers;
                    })) {
        throw DamagedFile("its counts of occurrences do not match its minimizers");
    }
}

}  // namespace qel_minimap2
