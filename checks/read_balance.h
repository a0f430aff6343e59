#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Checks {

/// Compares two series of reads, whatever the order of each. A read is its name and a content that the other side
/// must have too. What has found its partner is forgotten, so memory holds what one side is ahead of the other by, and
/// the differences. Names may stand in a series any number of times. Not synchronised.
class ReadBalance {
public:
    /// What one side has and the other has not.
    struct Difference {
        enum class Kind { missing, surplus, altered };
        Kind kind;
        std::string name;
        std::string expected;  ///< Content; empty if surplus.
        std::string found;     ///< Content; empty if missing.
        std::uint64_t line;    ///< Of the series that was found; if missing, of the expected one.
    };

    /// Adds a read to the expected series.
    void Expect(std::string_view name, std::string_view content, std::uint64_t line);
    /// Adds a read to the series that was found.
    void Find(std::string_view name, std::string_view content, std::uint64_t line);
    /// Adds a read whose content is not known. Exact as long as the expected series is ahead of the other one by more
    /// reads than may have changed their order.
    void FindAnyContent(std::string_view name, std::uint64_t line);
    /// One read of that name need not be found. To be called before the name is expected.
    void Excuse(std::string_view name);

    /// True when `content` is that of a read of that name which is expected and not found so far.
    bool Expects(std::string_view name, std::string_view content) const;
    /// True when a read of that name with another content is.
    bool ExpectsOther(std::string_view name, std::string_view content) const;

    /// True when there are so many differences that they are no longer kept.
    bool Overflowed() const { return overflowed; }
    /// How many reads were found as expected.
    std::uint64_t Matched() const { return matched; }
    /// The differences so far, by line; none once overflowed.
    std::vector<Difference> Differences() const;

    /// Words the first three differences of a kind, and how many more there are: "N `more`".
    static std::vector<std::string> Word(const std::vector<Difference>& differences, Difference::Kind kind,
                                         const std::function<std::string(const Difference&)>& word,
                                         const std::string& more);

private:
    struct Item {
        std::string content;
        std::uint64_t line;
    };
    struct Group {  // The reads of one name.
        std::vector<Item> expected;
        std::vector<Item> found;
        std::vector<std::uint64_t> found_any;  // Lines of reads that may be any of the expected ones.
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
    Groups::node_type spare;  // Kept to reuse its memory: most reads come and go one by one.
    std::size_t kept = 0;     // Items in all groups.
    std::uint64_t matched = 0;
    bool overflowed = false;
};

}  // namespace Checks
