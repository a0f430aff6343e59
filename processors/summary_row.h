#pragma once

#include <string>

#include "third_party_alignment/alignment_result.h"

namespace Tavik {

/// The column names of the alignment summary, tab-separated, with a line feed.
std::string SummaryHeader();

/// The summary row of one read, with a line feed. Identity and accuracy have up to six significant digits without
/// trailing zeros, as a standard stream writes them.
std::string FormatSummaryRow(const std::string& read_id, const ThirdPartyAlignment::AlignmentResult& result);

}  // namespace Tavik
