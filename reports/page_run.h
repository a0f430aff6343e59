#pragma once

#include <nlohmann/json.hpp>

#include "reports/sample.h"

namespace Reports {

/// The facts about the run or the runs that wrote a summary, each as [name, value].
nlohmann::ordered_json RunData(const RunFacts& run);

/// The findings of a sample, the most severe first, then Sample::warnings. The page shows them above all figures.
nlohmann::ordered_json FindingsData(const Sample& sample);

}  // namespace Reports
