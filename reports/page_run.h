#pragma once

#include <nlohmann/json.hpp>

#include "reports/sample.h"

namespace Reports {

/// The facts for the page about the run, or all runs, that wrote a summary: [name, value].
nlohmann::ordered_json RunData(const RunFacts& run);

/// What the page shows above all figures: the sample's findings, the most severe first, then the warnings from counting
/// it.
nlohmann::ordered_json FindingsData(const Sample& sample);

}  // namespace Reports
