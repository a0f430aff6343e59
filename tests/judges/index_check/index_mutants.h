#pragma once

#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tests/common/temporary_folder.h"
#include "tests/qel_minimap2/index/index_parts.h"

namespace IndexCheck {

/// What became of damaged indexes.
struct MutantFigures {
    long refused = 0;
    long alike = 0;                       ///< Accepted, and all reads' records were those of the sound index.
    std::map<std::string, long> changed;  ///< Accepted with other records, by what was damaged.
    std::string failure;                  ///< The first crash, hang or use of too much memory.
};

/// Damages prebuilt indexes of a made-up reference, of several presets and k-mer sizes, the same way for a seed, and
/// has each loaded and mapped against in a process of its own.
class IndexMutants {
public:
    /// `bases`: of the reference; `read_count`: how many reads from all over it are mapped. Needs the minimap2 program.
    IndexMutants(std::uint32_t seed, std::size_t bases, std::size_t read_count);

    /// Tries `count` mutants, up to the first failure.
    void Try(long count, MutantFigures& figures);

private:
    struct Sound {
        std::string options, content, records;
    };

    std::size_t Below(std::size_t end) { return std::uniform_int_distribution<std::size_t>(0, end - 1)(generator); }
    std::string RandomBases(std::size_t count);
    std::string Records(const std::string& path) const;
    /// Returns what was done to the index.
    std::string Damage(std::string& index);
    std::string ChangeCountOrStart(std::string& index, const Tests::IndexParts& parts);
    std::string SwapBuckets(std::string& index, const Tests::IndexParts& parts);

    std::mt19937 generator;
    Tests::TemporaryFolder folder;
    std::vector<std::string> reads;
    std::vector<Sound> sound;
};

}  // namespace IndexCheck
