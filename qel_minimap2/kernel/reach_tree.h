#pragma once

#include <cstdint>

#include <krmq.h>

#include "qel_minimap2/kernel/scratch.h"

namespace qel_minimap2::kernel {
namespace {

/// A node of minimap2's tree of the anchors in reach.
struct ReachNode {
    std::int32_t read_position, anchor;
    double penalty;
    KRMQ_HEAD(ReachNode) head;
};

inline int Compare(const ReachNode* a, const ReachNode* b) {
    return a->read_position != b->read_position ? (a->read_position < b->read_position ? -1 : 1)
                                                : (a->anchor > b->anchor) - (a->anchor < b->anchor);
}

inline bool HasLess(const ReachNode* a, const ReachNode* b) {
    return a->penalty < b->penalty;
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wcast-qual"
// NOLINTNEXTLINE(clang-analyzer-core.UndefinedBinaryOperatorResult): a path to the root is never empty.
KRMQ_INIT2(reach, [[maybe_unused]] static, ReachNode, head, Compare, HasLess)
#pragma GCC diagnostic pop

/// Returns the least power of two that is at least `n`, for `n` up to 2^31. Replaces std::bit_ceil, which may become a
/// weak function (see lanes.h).
constexpr unsigned PowerOfTwoFrom(unsigned n) {
    return n <= 1 ? 1 : 1U << (32 - __builtin_clz(n - 1));
}

/// The tree in which minimap2 stores the anchors in reach, built by minimap2's own functions. If several anchors have
/// the lowest penalty, the result of a search depends on the tree's balance, and therefore on all anchors that were
/// ever in the tree.
class ReachTree {
public:
    /// Makes an empty tree for at most `most` anchors at a time, whose numbers differ by less than `most`. Returns
    /// false if there is no memory.
    bool Start(int most) {
        const auto slots = PowerOfTwoFrom(static_cast<unsigned>(most));
        nodes = reinterpret_cast<ReachNode*>(ScratchMemory(Scratch::reach_tree, slots * sizeof *nodes));
        mask = slots - 1;
        root = nullptr;
        return nodes != nullptr;
    }
    void Stop() { nodes = nullptr; }
    bool IsStarted() const { return nodes != nullptr; }

    void Insert(int anchor, std::int32_t read_position, double penalty) {
        auto* const node = nodes + (static_cast<unsigned>(anchor) & mask);
        node->read_position = read_position;
        node->anchor = anchor;
        node->penalty = penalty;
        krmq_insert(reach, &root, node, nullptr);
    }
    void Remove(int anchor) { krmq_erase(reach, &root, nodes + (static_cast<unsigned>(anchor) & mask), nullptr); }

    /// Returns the anchor that minimap2 finds for an anchor at `read_position`: among those less than `distance` bases
    /// before it on the read, one with the lowest penalty. Returns -1 if there is none.
    int Least(std::int32_t read_position, int distance) const {
        ReachNode low{}, high{};
        low.read_position = read_position - distance;
        low.anchor = INT32_MAX;
        high.read_position = read_position;
        const auto* const least = krmq_rmq(reach, root, &low, &high);
        return least != nullptr ? least->anchor : -1;
    }

private:
    ReachNode* nodes = nullptr;  // The index of an anchor's node is the anchor's number modulo the number of nodes.
    unsigned mask = 0;
    ReachNode* root = nullptr;
};

}  // namespace
}  // namespace qel_minimap2::kernel
