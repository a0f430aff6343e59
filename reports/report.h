#pragma once

#include <string>
#include <vector>

#include "reports/report_options.h"

namespace Reports {

inline constexpr char kPageFile[] = "alignment_report.html";
inline constexpr char kDefaultTitle[] = "Alignment report";

/// Names for the samples whose summaries are at `paths`: the name of the folder (of the file, if it does not have the
/// aligner's name for it), preceded by as much of the path as makes the names unique. Repeated paths are numbered.
std::vector<std::string> SampleNames(const std::vector<std::string>& paths);

/// Makes the report. Returns the exit status: 1 if a summary is missing, damaged or another kind of file, or if the
/// report cannot be written. Unusable summaries are named on standard error; the others still get their report.
int MakeReport(const Options& options);

}  // namespace Reports
