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

/// The counts of one reference sequence.
struct Reference {
    std::string name;
    std::int32_t length = 0;  ///< Bases; 0 if unknown.
    std::uint64_t forward = 0;
    std::uint64_t reverse = 0;
    std::uint64_t aligned = 0;  ///< Bases, as are the three below.
    std::uint64_t correct = 0;
    std::uint64_t insertions = 0;
    std::uint64_t deletions = 0;
    Breadth::Shares breadth{};  ///< Set if the length is known.

    std::uint64_t Reads() const { return forward + reverse; }
};

/// The reference sequences of a run, looked up by their names in the summary: the sequence's name, with "_rc" appended
/// for a hit on the reverse strand.
///
/// A reference sequence's own name may end in "_rc". The names in the SAM files decide: "x_rc" is the forward strand of
/// "x_rc" if they contain "x_rc" but not "x", and the reverse strand of "x" otherwise. If they contain both, the row is
/// ambiguous: it is counted as the reverse strand of "x", and AmbiguousNames lists the name.
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

    /// Names in the summary that can mean either of two reference sequences.
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
    std::size_t in_sam_files = 0;                                                   // Their number; they come first.
    std::unordered_map<std::string, std::size_t, Hash, std::equal_to<>> positions;  // Key: sequence's own name.
    std::unordered_map<std::string, Hit, Hash, std::equal_to<>> hits;               // Key: name in the summary.
    std::vector<std::string> ambiguous_names;
    std::string last_genome;  // Consecutive rows often name the same sequence.
    Hit last_hit{};
};

}  // namespace Reports
