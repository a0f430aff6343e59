#include "checks/read_balance.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "checks/texts.h"

namespace Checks {

namespace {

constexpr std::size_t kMostWorded = 3;

}  // namespace

ReadBalance::Groups::iterator ReadBalance::GroupOf(std::string_view name) {
    const auto known = groups.find(name);
    if (known != groups.end()) {
        return known;
    }
    if (spare.empty()) {
        return groups.try_emplace(std::string(name)).first;
    }
    spare.key().assign(name);
    return groups.insert(std::move(spare)).position;
}

bool ReadBalance::Remove(std::vector<Item>& items, std::string_view content) {
    auto item = std::find_if(items.begin(), items.end(), [content](const auto& one) { return one.content == content; });
    if (item == items.end()) {
        item = std::find_if(items.begin(), items.end(),
                            [content](const auto& one) { return !one.other.empty() && one.other == content; });
    }
    if (item == items.end()) {
        return false;
    }
    items.erase(item);
    return true;
}

void ReadBalance::Added() {
    if (++kept > most_kept) {
        overflowed = true;
        groups.clear();
    }
}

void ReadBalance::Settle(Groups::iterator group) {
    auto& [expected, found, found_any, excused] = group->second;
    // Several reads may have this name. If one of them is excused, only the complete series show which one is
    // missing.
    if (!found.empty() || excused != 0 || expected.size() != found_any.size()) {
        return;
    }
    matched += expected.size();
    kept -= expected.size() + found_any.size();
    expected.clear();
    found_any.clear();
    spare = groups.extract(group);
}

void ReadBalance::Expect(std::string_view name, std::string_view content, std::uint64_t line, std::string_view other) {
    if (overflowed) {
        return;
    }
    const auto group = GroupOf(name);
    if (Remove(group->second.found, content) || (!other.empty() && Remove(group->second.found, other))) {
        ++matched;
        --kept;
        Settle(group);
        return;
    }
    group->second.expected.push_back({std::string(content), line, std::string(other)});
    Added();
    if (!overflowed) {
        Settle(group);
    }
}

bool ReadBalance::Find(std::string_view name, std::string_view content, std::uint64_t line) {
    if (overflowed) {
        return false;
    }
    const auto group = GroupOf(name);
    if (Remove(group->second.expected, content)) {
        ++matched;
        --kept;
        Settle(group);
        return true;
    }
    group->second.found.push_back({std::string(content), line, ""});
    Added();
    return false;
}

void ReadBalance::FindAnyContent(std::string_view name, std::uint64_t line) {
    if (overflowed) {
        return;
    }
    const auto group = GroupOf(name);
    group->second.found_any.push_back(line);
    Added();
    if (!overflowed) {
        Settle(group);
    }
}

void ReadBalance::Excuse(std::string_view name) {
    ++GroupOf(name)->second.excused;
    ++most_kept;
}

bool ReadBalance::Knows(std::string_view name) const {
    return groups.find(name) != groups.end();
}

bool ReadBalance::Expects(std::string_view name, std::string_view content) const {
    const auto group = groups.find(name);
    return group != groups.end() && std::any_of(group->second.expected.begin(), group->second.expected.end(),
                                                [content](const auto& item) { return item.content == content; });
}

bool ReadBalance::ExpectsOther(std::string_view name, std::string_view content) const {
    const auto group = groups.find(name);
    return group != groups.end() && std::any_of(group->second.expected.begin(), group->second.expected.end(),
                                                [content](const auto& item) { return item.content != content; });
}

void ReadBalance::AddDifferences(const std::string& name, const Group& group, std::vector<Difference>& differences) {
    using Kind = Difference::Kind;
    const auto& [expected, found, found_any, excused] = group;
    const auto missing = expected.size() - std::min(expected.size(), found_any.size() + excused);
    const auto altered = std::min(missing, found.size());
    for (std::size_t i = 0; i < altered; ++i) {
        differences.push_back({Kind::altered, name, expected[i].content, found[i].content, found[i].line});
    }
    for (std::size_t i = altered; i < missing; ++i) {
        differences.push_back({Kind::missing, name, expected[i].content, "", expected[i].line});
    }
    for (std::size_t i = altered; i < found.size(); ++i) {
        differences.push_back({Kind::surplus, name, "", found[i].content, found[i].line});
    }
    for (std::size_t i = expected.size(); i < found_any.size(); ++i) {
        differences.push_back({Kind::surplus, name, "", "", found_any[i]});
    }
}

std::vector<ReadBalance::Difference> ReadBalance::Differences() const {
    std::vector<Difference> differences;
    for (const auto& [name, group] : groups) {
        AddDifferences(name, group, differences);
    }
    std::sort(differences.begin(), differences.end(),
              [](const auto& a, const auto& b) { return std::tie(a.line, a.name) < std::tie(b.line, b.name); });
    return differences;
}

std::vector<std::string> ReadBalance::Word(const std::vector<Difference>& differences, Difference::Kind kind,
                                           const std::function<std::string(const Difference&)>& word,
                                           const std::string& noun, const std::string& rest) {
    std::vector<std::string> texts;
    std::size_t count = 0;
    for (const auto& difference : differences) {
        if (difference.kind == kind && ++count <= kMostWorded) {
            texts.push_back(word(difference));
        }
    }
    if (count > kMostWorded) {
        texts.push_back(Plural(count - kMostWorded, noun) + " " + rest);
    }
    return texts;
}

}  // namespace Checks
