#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "reports/breadth.h"
#include "reports/sam_references.h"

namespace Reports {

/// What is counted per reference sequence.
struct Reference {
    std::string name;
    std::int32_t length = 0;  ///< Bases; 0 where it is not known.
    std::uint64_t forward = 0;
    std::uint64_t reverse = 0;
    std::uint64_t aligned = 0;  ///< Bases, as those below.
    std::uint64_t correct = 0;
    std::uint64_t insertions = 0;
    std::uint64_t deletions = 0;
    Breadth::Shares breadth{};  ///< Where the length is known.

    std::uint64_t Reads() const { return forward + reverse; }
};

/// The reference sequences of a run, found by what the summary calls them: the name, with "_rc" behind it for a hit on
/// the reverse strand.
///
/// A reference sequence's own name may end in "_rc". Names that the SAM files know decide: "x_rc" is the forward strand
/// of "x_rc" if they know that name alone, and the reverse strand of "x" otherwise. If they know both, a row does not
/// tell which one it is; it is counted as the reverse strand of "x", and AmbiguousNames tells of it.
class ReferenceTable {
public:
    struct Hit {
        std::size_t reference;  ///< Position in References.
        bool is_reverse;
    };

    explicit ReferenceTable(const ReferenceLengths& lengths);

    Hit Find(std::string_view genome);

    Reference& At(std::size_t position) { return references[position]; }
    const std::vector<Reference>& References() const { return references; }

    /// Names met in the summary that mean either of two reference sequences.
    const std::vector<std::string>& AmbiguousNames() const { return ambiguous_names; }

private:
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
    };

    Hit Resolve(std::string_view genome);
    std::size_t PositionOf(std::string_view name);
    bool IsInSamFiles(std::string_view name) const;

    std::vector<Reference> references;
    std::size_t in_sam_files = 0;  // So many of them, the first ones, are from there.
    std::unordered_map<std::string, std::size_t, Hash, std::equal_to<>> positions;  // By the own name.
    std::unordered_map<std::string, Hit, Hash, std::equal_to<>> hits;               // By the summary's name.
    std::vector<std::string> ambiguous_names;
    std::string last_genome;  // Rows that follow each other often name the same one.
    Hit last_hit{};
};

}  // namespace Reports
