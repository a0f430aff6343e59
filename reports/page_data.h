#pragma once

#include <string>
#include <vector>

#include "reports/sample.h"

namespace Reports {

/// `text` as UTF-8, with invalid bytes replaced by U+FFFD. A text of more than `most` characters loses its middle.
std::string ForPage(const std::string& text, std::size_t most);

/// The figures of the page as ASCII JSON without "<", so that a script element can contain it.
std::string PageData(const std::string& title, const std::vector<Sample>& samples);

/// The detail per sample that keeps a page of this many samples small.
Detail DetailFor(std::size_t samples);

}  // namespace Reports
