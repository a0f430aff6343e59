#pragma once

#include <string>
#include <vector>

#include "reports/report_options.h"

namespace Reports {

inline constexpr char kPageFile[] = "alignment_report.html";
inline constexpr char kDefaultTitle[] = "Alignment report";

/// Names for the samples whose summaries are at `paths`. A name is that of the summary's folder or, if the file is not
/// named alignment_summary.txt, the file's name without its extension. Equal names are prefixed with as many parent
/// folders as are needed to make them unique. Of names that are still equal, such as those of repeated paths, all but
/// the first are numbered.
std::vector<std::string> SampleNames(const std::vector<std::string>& paths);

/// Makes the report. Returns the exit status, which is 1 if a given file is missing, damaged or not a summary, or if
/// the report or standard output cannot be written. Unusable summaries are named on standard error; the report covers
/// all others.
int MakeReport(const Options& options);

}  // namespace Reports
