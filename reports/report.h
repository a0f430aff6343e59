#pragma once

#include <string>
#include <vector>

#include "reports/report_options.h"

namespace Reports {

/// Names for the samples whose summaries are at `paths`: the name of the folder (of the file, if that is not named as
/// the aligner names it), with as much of the path in front as keeps them apart. A path given twice is numbered.
std::vector<std::string> SampleNames(const std::vector<std::string>& paths);

/// Makes the report. The exit status: 1 if a summary is missing, foreign or damaged, or the report cannot be written.
/// A summary that cannot be used is told on standard error; the others still get their report.
int MakeReport(const Options& options);

}  // namespace Reports
