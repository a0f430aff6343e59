#pragma once

#include <string>
#include <vector>

#include "reports/sample.h"

namespace Reports {

/// MultiQC's custom content, for its version 1.14: columns of the general statistics, a row per sample. As JSON.
std::string MultiqcGeneralStatistics(const std::vector<Sample>& samples);

/// A bar graph of aligned, unmapped and rejected reads. A file of its own: MultiQC takes one plot from each.
std::string MultiqcReadsPlot(const std::vector<Sample>& samples);

}  // namespace Reports
