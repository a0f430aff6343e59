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

/// Counts the outcomes of loading damaged indexes.
struct MutantFigures {
    long refused = 0;
    long alike = 0;                       ///< Accepted, and all reads mapped as with the sound index.
    std::map<std::string, long> changed;  ///< Accepted, but a read mapped differently or failed; by kind of damage.
    std::string failure;                  ///< The first crash, hang or use of too much memory; empty if there was none.
};

/// Damages indexes of a generated reference, loads each damaged index in a separate process and maps reads against it.
/// The indexes are minimap2's, with several presets and k-mer lengths, and those that qelmm_make_index makes from them.
/// The same seed gives the same damage.
class IndexMutants {
public:
    /// `bases`: the approximate length of the reference; `read_count`: the number of reads, spread evenly over it.
    /// Needs the minimap2 program; throws std::runtime_error if minimap2 or qelmm_make_index fails.
    IndexMutants(std::uint32_t seed, std::size_t bases, std::size_t read_count);

    /// Tries `count` damaged indexes; stops at the first failure.
    void Try(long count, MutantFigures& figures);

private:
    struct Sound {
        std::string options, content, records;
    };

    std::size_t Below(std::size_t end) { return std::uniform_int_distribution<std::size_t>(0, end - 1)(generator); }
    std::string RandomBases(std::size_t count);
    std::string Mapped(const std::string& path) const;
    std::string Records(const std::string& path) const;
    /// Damages an index and returns a description of the damage.
    std::string Damage(std::string& index);
    std::string DamageMapped(std::string& index);
    std::string ChangeCountOrStart(std::string& index, const Tests::IndexParts& parts);
    std::string SwapBuckets(std::string& index, const Tests::IndexParts& parts);

    std::mt19937 generator;
    Tests::TemporaryFolder folder;
    std::vector<std::string> reads;
    std::vector<Sound> sound;
};

}  // namespace IndexCheck
