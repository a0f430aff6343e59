#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "reports/growing_report.h"
#include "reports/sample.h"

namespace Reports {

/// `text` as UTF-8, with invalid bytes replaced by U+FFFD. In a text of more than `most` characters, an ellipsis
/// replaces the middle.
std::string ForPage(const std::string& text, std::size_t most);

/// The figures of the page as ASCII JSON without "<", so that a script element can contain it. `live` is set while the
/// run is in progress.
std::string PageData(const std::string& title, std::span<const Sample> samples, const std::optional<LiveNote>& live);

/// How much detail to show for each sample, so that a page of `samples` samples stays small.
Detail DetailFor(std::size_t samples);

}  // namespace Reports
