#include "reports/breadth.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace Reports {

namespace {

// The number of sampled positions in a stretch.
constexpr std::size_t kStretch = 512;

}  // namespace

Breadth::Breadth(std::vector<std::int32_t> lengths, std::size_t most_positions)
    : lengths(std::move(lengths)), sequences(this->lengths.size()) {
    auto rising = this->lengths;
    std::sort(rising.begin(), rising.end());
    // Longer sequences share the positions that short ones do not need.
    auto left = most_positions;
    for (std::size_t i = 0; i < rising.size(); ++i) {
        const auto share = std::max<std::size_t>(left / (rising.size() - i), 1);
        const auto taken = std::min(share, static_cast<std::size_t>(rising[i]));
        most_of_one = std::max(most_of_one, static_cast<std::int32_t>(taken));
        left -= std::min(left, taken);
    }
}

std::int32_t Breadth::StepOf(std::size_t sequence) const {
    return static_cast<std::int32_t>((std::int64_t{lengths[sequence]} + most_of_one - 1) / most_of_one);
}

// The number of sampled positions before `position`. Each sampled position is in the middle of a run of StepOf bases.
std::size_t Breadth::Index(std::size_t sequence, std::int32_t position) const {
    if (lengths[sequence] <= most_of_one) {
        return static_cast<std::size_t>(position);
    }
    const auto step = StepOf(sequence);
    const auto first = step / 2;
    return position <= first ? 0 : static_cast<std::size_t>((std::int64_t{position} - first + step - 1) / step);
}

void Breadth::Add(std::size_t sequence, std::int32_t start, std::int32_t end) {
    auto& [depth, stretches, stale] = sequences[sequence];
    if (depth.empty()) {
        depth.resize(Index(sequence, lengths[sequence]) + 1);
        stale.resize((depth.size() - 1) / kStretch + 1);
        stretches.resize(stale.size());
    }
    const auto first = Index(sequence, start);
    const auto last = Index(sequence, end);
    stale[first / kStretch] = 1;  // SharesOf itself finds later stretches whose depth has changed.
    auto& change = waiting[next++ % waiting.size()];
    Settle(change);
    change = {&depth[first], &depth[last]};
    __builtin_prefetch(change.start, 1);
    __builtin_prefetch(change.end, 1);
}

void Breadth::Settle(Change& change) {
    if (change.start != nullptr) {
        ++*change.start;
        --*change.end;
        change = {};
    }
}

void Breadth::Count(const Sequence& sequence, std::size_t first, Stretch& stretch) {
    const auto end = std::min(first + kStretch, sequence.changes.size() - 1);
    stretch.covered = {};
    stretch.last = stretch.before;
    for (std::size_t i = first; i < end; ++i) {
        stretch.last += sequence.changes[i];
        for (std::size_t k = 0; k < kDepths.size(); ++k) {
            stretch.covered[k] += static_cast<std::uint32_t>(stretch.last >= kDepths[k]);
        }
    }
}

Breadth::Shares Breadth::SharesOf(std::size_t number) {
    for (auto& change : waiting) {
        Settle(change);
    }
    auto& sequence = sequences[number];
    const auto& depth = sequence.changes;
    std::array<std::uint64_t, kDepths.size()> covered{};
    std::int64_t alignments = 0;
    for (std::size_t i = 0; i < sequence.stretches.size(); ++i) {
        auto& stretch = sequence.stretches[i];
        if (std::exchange(sequence.stale[i], 0) != 0 || stretch.before != alignments) {
            stretch.before = alignments;
            Count(sequence, i * kStretch, stretch);
        }
        alignments = stretch.last;
        std::transform(covered.begin(), covered.end(), stretch.covered.begin(), covered.begin(), std::plus<>());
    }
    Shares shares{};
    if (depth.size() > 1) {
        std::transform(covered.begin(), covered.end(), shares.begin(), [&depth](std::uint64_t positions) {
            return static_cast<double>(positions) / static_cast<double>(depth.size() - 1);
        });
    }
    return shares;
}

}  // namespace Reports
