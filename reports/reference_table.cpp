#include "reports/reference_table.h"

namespace Reports {

namespace {

constexpr std::string_view kReverse = "_rc";

}  // namespace

ReferenceTable::ReferenceTable(const ReferenceLengths& lengths) {
    for (const auto& [name, length] : lengths) {
        references[PositionOf(name)].length = length;
    }
    in_sam_files = references.size();
}

std::size_t ReferenceTable::PositionOf(std::string_view name) {
    const auto [found, is_new] = positions.try_emplace(std::string(name), references.size());
    if (is_new) {
        references.push_back({.name = std::string(name)});
    }
    return found->second;
}

ReferenceTable::Hit ReferenceTable::Find(std::string_view genome) {
    if (!last_genome.empty() && genome == last_genome) {
        return last_hit;
    }
    auto found = hits.find(genome);
    if (found == hits.end()) {
        found = hits.emplace(genome, Resolve(genome)).first;
    }
    last_genome = genome;
    last_hit = found->second;
    return last_hit;
}

ReferenceTable::Hit ReferenceTable::Resolve(std::string_view genome) {
    if (!genome.ends_with(kReverse) || genome == kReverse) {
        return {PositionOf(genome), false};
    }
    const auto name = genome.substr(0, genome.size() - kReverse.size());
    if (!IsInSamFiles(genome)) {
        return {PositionOf(name), true};
    }
    if (!IsInSamFiles(name)) {
        return {PositionOf(genome), false};
    }
    ambiguous_names.emplace_back(genome);
    return {PositionOf(name), true};
}

bool ReferenceTable::IsInSamFiles(std::string_view name) const {
    // Names that occur only in the summary do not count, so that the meaning of a name does not depend on the order of
    // the rows.
    const auto found = positions.find(name);
    return found != positions.end() && found->second < in_sam_files;
}

}  // namespace Reports
