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
    std::int32_t length = 0;       ///< In bases; 0 if unknown.
    std::uint64_t forward = 0;     ///< Number of reads aligned to the forward strand.
    std::uint64_t reverse = 0;     ///< Number of reads aligned to the reverse strand.
    std::uint64_t aligned = 0;     ///< Number of bases aligned to a base.
    std::uint64_t correct = 0;     ///< Number of bases aligned to the same base.
    std::uint64_t insertions = 0;  ///< In bases.
    std::uint64_t deletions = 0;   ///< In bases.
    Breadth::Shares breadth{};     ///< Valid only if the length is known.

    std::uint64_t Reads() const { return forward + reverse; }
};

/// The reference sequences of a run. In the summary, a hit on the forward strand has the name of the sequence, and a
/// hit on the reverse strand has that name with "_rc" appended.
///
/// A reference sequence's own name may end in "_rc". The name "x_rc" in the summary is the forward strand of "x_rc" if
/// the SAM files contain "x_rc" but not "x", and the reverse strand of "x" otherwise. If they contain both, the row is
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

    /// Names in the summary that may mean either of two reference sequences.
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
    std::size_t in_sam_files = 0;  // How many of `references` the SAM files list; these are the first ones.
    std::unordered_map<std::string, std::size_t, Hash, std::equal_to<>> positions;  // By the sequence's own name.
    std::unordered_map<std::string, Hit, Hash, std::equal_to<>> hits;               // By the name in the summary.
    std::vector<std::string> ambiguous_names;
    std::string last_genome;  // Consecutive rows often name the same sequence.
    Hit last_hit{};
};

}  // namespace Reports
