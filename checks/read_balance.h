#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Checks {

/// Compares two series of reads in any order. Reads match if they have the same name and content. Matched reads are
/// dropped, so memory contains only the differences and the reads by which one series is ahead of the other. A name may
/// occur in a series any number of times. Not synchronised.
class ReadBalance {
public:
    /// A read that only one series contains, or whose content differs between the series.
    struct Difference {
        enum class Kind { missing, surplus, altered };
        Kind kind;
        std::string name;
        std::string expected;  ///< Content in the expected series; empty if surplus.
        std::string found;     ///< Content in the found series; empty if missing or unknown.
        std::uint64_t line;    ///< `line` of the found read, or of the expected read if the read is missing.
    };

    /// Adds a read to the expected series. `line`: where the read is; differences are sorted by it. `other`, unless
    /// empty, is a second content that also matches.
    void Expect(std::string_view name, std::string_view content, std::uint64_t line, std::string_view other = {});
    /// Adds a read to the found series. Returns whether it was expected; false if Overflowed.
    bool Find(std::string_view name, std::string_view content, std::uint64_t line);
    /// Adds a read of unknown content to the found series. Call Expect for the same read first: otherwise the result
    /// may be wrong if several reads have this name.
    void FindAnyContent(std::string_view name, std::uint64_t line);
    /// Allows one read of this name to be missing, and raises the limit on kept differences by one. Call before adding
    /// reads of this name to the expected series.
    void Excuse(std::string_view name);

    /// True if a read of this name was added and has not matched yet, or if Excuse was called for the name.
    bool Knows(std::string_view name) const;
    /// True if a read of this name and content is expected and not found yet.
    bool Expects(std::string_view name, std::string_view content) const;
    /// True if a read of this name with different content is expected and not found yet.
    bool ExpectsOther(std::string_view name, std::string_view content) const;

    /// True if the differences were too many to keep; they have then been dropped.
    bool Overflowed() const { return overflowed; }
    /// Number of reads found as expected.
    std::uint64_t Matched() const { return matched; }
    /// The differences so far, sorted by line; empty if Overflowed.
    std::vector<Difference> Differences() const;

    /// Returns the texts that `word` returns for the first three differences of a kind. If there are N more, adds the
    /// text "N `noun` `rest`", with `noun` in the plural unless N is 1.
    static std::vector<std::string> Word(const std::vector<Difference>& differences, Difference::Kind kind,
                                         const std::function<std::string(const Difference&)>& word,
                                         const std::string& noun, const std::string& rest);

private:
    struct Item {
        std::string content;
        std::uint64_t line;
        std::string other;
    };
    struct Group {  // The reads of one name.
        std::vector<Item> expected;
        std::vector<Item> found;
        std::vector<std::uint64_t> found_any;  // Lines of reads of unknown content.
        std::size_t excused = 0;
    };
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view name) const { return std::hash<std::string_view>()(name); }
    };
    using Groups = std::unordered_map<std::string, Group, Hash, std::equal_to<>>;

    Groups::iterator GroupOf(std::string_view name);
    static bool Remove(std::vector<Item>& items, std::string_view content);
    void Added();
    void Settle(Groups::iterator group);
    static void AddDifferences(const std::string& name, const Group& group, std::vector<Difference>& differences);

    Groups groups;
    Groups::node_type spare;  // Reused for the next new group, because most groups exist for one read only.
    std::size_t kept = 0;     // Reads kept in all groups.
    std::size_t most_kept = 100'000;
    std::uint64_t matched = 0;
    bool overflowed = false;
};

}  // namespace Checks
