#pragma once

#include <string>
#include <string_view>
#include <system_error>

namespace Common {

// Texts in the log file of a run. They tell other programs what became of the run's files and reads.
inline constexpr std::string_view kLoggedBanner = "QEL Tavik alignment software version ";
inline constexpr std::string_view kLoggedFileStart = "Starting input file ";
inline constexpr std::string_view kLoggedFileEnd = "Successfully finished input file ";
inline constexpr std::string_view kLoggedFileError = "Error while processing input file ";
inline constexpr std::string_view kLoggedReadError = "Error while processing read ";
inline constexpr std::string_view kLoggedReadSkipped = "Continuing with next read.";

/// The path of the newest main log file in a folder: the file named "read_processor_log-<date>_<time>.log" with the
/// latest date and time. Empty if there is no such file. If the folder cannot be listed, sets `error` and returns an
/// empty text.
std::string NewestRunLog(const std::string& folder, std::error_code& error);

}  // namespace Common
