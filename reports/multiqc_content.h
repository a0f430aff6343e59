#pragma once

#include <string>
#include <vector>

#include "reports/sample.h"

namespace Reports {

/// Custom content for MultiQC 1.14 as JSON: columns of its general statistics table, which has one row per sample.
std::string MultiqcGeneralStatistics(const std::vector<Sample>& samples);

/// A bar graph of aligned, unmapped and rejected reads. It needs a separate file, because MultiQC reads one plot per
/// file.
std::string MultiqcReadsPlot(const std::vector<Sample>& samples);

}  // namespace Reports
