#pragma once

#include <cstdint>
#include <string>

namespace Common::logging {

/// How severe a log record is, from lowest to highest. `message` deliberately ranks below `info`. Records of severity
/// `message` are meant for the person at the terminal, those of severity `info` for the log file.
enum class Severity : std::uint8_t { trace = 0, verbose = 1, message = 2, info = 3, warning = 4, error = 5 };

/// The lower-case name of a severity; "unknown" for any value above `Severity::error`.
const char* ToString(Severity severity) noexcept;

/// The severity with this lower-case name; the match is exact. Throws std::runtime_error "unable to find severity for
/// string: " + text for any other text.
Severity SeverityFromString(const std::string& text);

}  // namespace Common::logging
