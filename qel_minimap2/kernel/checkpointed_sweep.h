#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "qel_minimap2/kernel/alignment_call.h"
#include "qel_minimap2/kernel/lanes.h"
#include "qel_minimap2/kernel/padded_sequences.h"
#include "qel_minimap2/kernel/scratch.h"
#include "qel_minimap2/kernel/strip.h"
#include "qel_minimap2/kernel/strip_trace.h"
#include "qel_minimap2/kernel/trace_back.h"

namespace qel_minimap2::kernel {
namespace {

// The second method of base_alignment.h: if no path found in a band is proven optimal, the complete matrix is computed,
// but its cells are not stored.
//
// minimap2 stores a direction byte for each cell, and then reads the bytes along one path. This sweep keeps only a copy
// of the six difference lines after every 64th row.
//
// From row to row, the traceback moves back by at most one target position. In the 64 rows between two copies, it
// therefore stays within 64 target positions: the one where it enters the rows, and the 63 before it. The cells of
// these rows and positions are the corner. They are computed again from the copy. What is stored for them fits into the
// first-level cache.
//
// The cells before the corner's lowest lane are missing, so in the corner's row n, counted from 0, the n lowest lanes
// are wrong. The traceback does not reach them: it enters at lane 63 in row 63 or an earlier row, so in row n it is at
// lane n or higher. All the cells that it reaches have the values of the complete matrix, so directions, ties and score
// are minimap2's.

class CheckpointedSweep {
public:
    CheckpointedSweep(const AlignmentCall& call, const Scoring& scoring, const PaddedSequences& sequences)
        : k(scoring, Trace::left), call(call), sequences(sequences), rows(call.query_length + call.target_length - 1) {}

    /// Sets the result's score and CIGAR. Returns false, without changes, if there is no memory.
    bool Run(ksw_extz_t& result) {
        PathRuns path(call);
        if (!PrepareLines() || !PrepareCopies() || !path.Reserve()) {
            return false;
        }
        Sweep();
        result.score = TraceBack(path, call.target_length - 1, call.query_length - 1, k, [this](int i, int j) {
            const int row = i + j;
            if (row / kRows != corner_number) {
                ComputeCorner(row, i);
            }
            const auto* const best = corner[row % kRows] + (i - corner_base);
            return StripCell{*best, best[kWidth]};
        });
        path.Deliver(result);
        return true;
    }

private:
    static constexpr int kRows = 64;  // From one copy to the next.
    static constexpr int kWidth = 64;
    static constexpr int kPadding = 64;
    static constexpr int kLanes = Lanes::kWidth;
    static constexpr int kLineCount = 6;

    enum Line { kX, kX2, kV, kY, kY2, kU };

    int FirstOf(int r) const { return Larger(0, r - call.query_length + 1); }
    int LastOf(int r) const { return Smaller(call.target_length - 1, r); }
    // The lanes in a copy of row r, rounded to complete registers.
    int CopyBegin(int r) const { return RoundDown(FirstOf(r), kLanes); }
    int CopySize(int r) const { return RoundDown(LastOf(r), kLanes) + kLanes - CopyBegin(r); }

    // Lanes are not initialised, because their values do not matter before they are computed.
    bool PrepareLines() {
        const auto room = static_cast<std::size_t>(RoundDown(call.target_length, kLanes)) + kLanes;
        auto* memory = ScratchMemory(Scratch::lines, room * kLineCount);
        if (memory == nullptr) {
            return false;
        }
        for (auto*& line : lines) {
            line = memory;
            memory += room;
        }
        return true;
    }

    // A corner may reach beyond the ends of a row, so there is padding before and after each line of a copy.
    bool PrepareCopies() {
        const int count = (rows - 1) / kRows;
        auto* offsets =
            ScratchMemory(Scratch::copy_offsets, static_cast<std::size_t>(count + 1) * sizeof *copy_offsets);
        if (offsets == nullptr) {
            return false;
        }
        copy_offsets = static_cast<std::size_t*>(static_cast<void*>(offsets));
        std::size_t size = kPadding + kWidth;
        for (int n = 0; n < count; ++n) {
            copy_offsets[n] = size;
            size += static_cast<std::size_t>(CopySize((n + 1) * kRows - 1) + 2 * kPadding) * kLineCount;
        }
        copies = ScratchMemory(Scratch::way_back, size + kPadding + kWidth);
        return copies != nullptr;
    }

    // Returns a line of the copy made after row (number + 1) * kRows - 1, from that row's CopyBegin on.
    std::uint8_t* CopyOf(int number, int line) const {
        const auto size = static_cast<std::size_t>(CopySize((number + 1) * kRows - 1)) + 2 * std::size_t{kPadding};
        return copies + copy_offsets[number] + static_cast<std::size_t>(line) * size;
    }

    void Sweep() {
        for (int r = 0; r < rows; ++r) {
            ComputeRow(r);
            if (r % kRows == kRows - 1 && r < rows - 1) {
                for (int line = 0; line < kLineCount; ++line) {
                    std::memcpy(CopyOf(r / kRows, line), lines[line] + CopyBegin(r),
                                static_cast<std::size_t>(CopySize(r)));
                }
            }
        }
    }

    TAVIK_INLINE void ComputeRow(int r) {
        const int begin = RoundDown(FirstOf(r), kLanes);
        const int last_register = RoundDown(LastOf(r), kLanes);
        // The register before `begin`, or the border if `begin` is 0.
        StripLanes before{k.opened, k.opened, k.opened, k.opened, k.unreachable_u, k.BorderOfV(r)};
        if (begin > 0) {
            before = LoadLanes(begin - kLanes);
        }
        const std::uint8_t* query = sequences.QueryOpposite(r);
        for (int t = begin; t < last_register; t += kLanes) {
            ComputeLanes(t, query, before, LoadLanes(t));
        }
        StripLanes last = LoadLanes(last_register);
        if (LastOf(r) == r) {  // This row has a cell at query position 0.
            EnterGap(AllLanesBut(r - last_register), k.BorderOfU(r), last.y, last.y2, last.u);
        }
        ComputeLanes(last_register, query, before, last);
    }

    TAVIK_INLINE StripLanes LoadLanes(int t) const {
        return {Lanes::Load(lines[kX] + t),  Lanes::Load(lines[kY] + t), Lanes::Load(lines[kX2] + t),
                Lanes::Load(lines[kY2] + t), Lanes::Load(lines[kU] + t), Lanes::Load(lines[kV] + t)};
    }

    TAVIK_INLINE void ComputeLanes(int t, const std::uint8_t* query, StripLanes& before, const StripLanes& old) {
        StripLanes c = old;
        c.x = Lanes::Up(old.x, before.x);
        c.x2 = Lanes::Up(old.x2, before.x2);
        c.v = Lanes::Up(old.v, before.v);
        before = old;
        StripStep<Shift::up>(k, k.Substitution(sequences.target + t, query + t), c);
        Lanes::Store(lines[kX] + t, c.x);
        Lanes::Store(lines[kX2] + t, c.x2);
        Lanes::Store(lines[kV] + t, c.v);
        Lanes::Store(lines[kY] + t, c.y);
        Lanes::Store(lines[kY2] + t, c.y2);
        Lanes::Store(lines[kU] + t, c.u);
    }

    // Computes the cells for a traceback that enters the rows between two copies at target position i of
    // `last_row`.
    void ComputeCorner(int last_row, int i) {
        corner_number = last_row / kRows;
        corner_base = i - (kWidth - 1);
        const int first_row = corner_number * kRows;
        Strip<kWidth / kLanes> strip(k);
        if (corner_number > 0) {
            const auto from = [&](int line, int t) {
                return Lanes::Load(CopyOf(corner_number - 1, line) + (t - CopyBegin(first_row - 1)));
            };
            for (int n = 0; n < kWidth / kLanes; ++n) {
                const int t = corner_base + n * kLanes;
                // A cell takes x, x2 and v from the position before it, which is one lane lower.
                strip.Cells(n) = {from(kX, t - 1), from(kY, t), from(kX2, t - 1),
                                  from(kY2, t),    from(kU, t), from(kV, t - 1)};
            }
        }
        const std::uint8_t* target = sequences.target + corner_base;
        const std::uint8_t* query = sequences.QueryOpposite(0) + corner_base;
        strip.template Row<Shift::none, true>(first_row, corner_base, target, query - first_row, corner[0]);
        const bool at_border = corner_base <= 0 || first_row - corner_base < kWidth;
        for (int r = first_row + 1; r <= last_row; ++r) {
            if (at_border) {
                strip.template Row<Shift::up, true>(r, corner_base, target, query - r, corner[r - first_row]);
            } else {
                strip.template Row<Shift::up, false>(r, corner_base, target, query - r, corner[r - first_row]);
            }
        }
    }

    alignas(64) std::uint8_t corner[kRows][Strip<kWidth / kLanes>::kRowSize];
    const StripConstants k;
    const AlignmentCall& call;
    const PaddedSequences& sequences;
    const int rows;
    std::uint8_t* lines[kLineCount] = {};
    std::size_t* copy_offsets = nullptr;
    std::uint8_t* copies = nullptr;
    int corner_number = -1;  // The corner's first row, divided by kRows.
    int corner_base = 0;     // The target position of the corner's lowest lane.
};

}  // namespace
}  // namespace qel_minimap2::kernel
