#pragma once

#include <array>
#include <string_view>

namespace Common {

/// The file in a run's save folder that contains one row per read.
inline constexpr char kSummaryFileName[] = "alignment_summary.txt";

/// The names of the columns of the summary, in order. README.md explains them.
inline constexpr std::array<std::string_view, 13> kSummaryColumns = {
    "read_id",
    "alignment_genome",
    "alignment_genome_start",
    "alignment_genome_end",
    "alignment_strand_start",
    "alignment_strand_end",
    "alignment_num_insertions",
    "alignment_num_deletions",
    "alignment_num_aligned",
    "alignment_num_correct",
    "alignment_identity",
    "alignment_accuracy",
    "alignment_score",
};

}  // namespace Common
