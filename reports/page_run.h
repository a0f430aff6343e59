#pragma once

#include <nlohmann/json.hpp>

#include "reports/sample.h"

namespace Reports {

/// The facts of the run that wrote a summary, or of all of them, for the page: [name, value].
nlohmann::ordered_json RunData(const RunFacts& run);

/// What the page shows above all figures, the gravest first: the sample's findings, and the warnings of its counting.
nlohmann::ordered_json FindingsData(const Sample& sample);

}  // namespace Reports
