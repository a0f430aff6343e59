#pragma once

#include <string>
#include <vector>

#include "reports/sample.h"

namespace Reports {

/// `text` as UTF-8: what is not is replaced by U+FFFD. More than `most` characters are cut in the middle.
std::string ForPage(const std::string& text, std::size_t most);

/// The figures of the page as JSON in ASCII in which no "<" occurs: it may stand in a script element.
std::string PageData(const std::string& title, const std::vector<Sample>& samples);

/// What one sample may show so that the page of so many samples stays small.
Detail DetailFor(std::size_t samples);

}  // namespace Reports
