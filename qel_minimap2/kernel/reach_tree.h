#pragma once

#include <bit>
#include <cstdint>

#include <krmq.h>

#include "qel_minimap2/kernel/scratch.h"

namespace qel_minimap2::kernel {
namespace {

/// An anchor in minimap2's tree of the anchors in reach.
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

/// The tree in which minimap2 keeps the anchors in reach, with minimap2's own functions. Which of several anchors with
/// the same penalty it finds depends on its balance, so on all anchors that it has held.
class ReachTree {
public:
    /// Makes an empty tree for at most `most` anchors at a time, whose numbers are within `most` of each other. Returns
    /// false when there is no memory.
    bool Start(int most) {
        const auto slots = std::bit_ceil(static_cast<unsigned>(most));
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

    /// The anchor with the lowest penalty that minimap2 finds for an anchor at `read_position`, or -1.
    int Least(std::int32_t read_position, int distance) const {
        ReachNode low{}, high{};
        low.read_position = read_position - distance;
        low.anchor = INT32_MAX;
        high.read_position = read_position;
        const auto* const least = krmq_rmq(reach, root, &low, &high);
        return least != nullptr ? least->anchor : -1;
    }

private:
    ReachNode* nodes = nullptr;  // The node of an anchor is at its number modulo the number of nodes.
    unsigned mask = 0;
    ReachNode* root = nullptr;
};

}  // namespace
}  // namespace qel_minimap2::kernel
