#pragma once

#include <string>
#include <string_view>
#include <system_error>

namespace Common {

// Texts in a run's log file that tell other programs how the run ended.
inline constexpr std::string_view kLoggedBanner = "QEL Tavik alignment software version ";
inline constexpr std::string_view kLoggedFileStart = "Starting input file ";
inline constexpr std::string_view kLoggedFileEnd = "Successfully finished input file ";
inline constexpr std::string_view kLoggedFileError = "Error while processing input file ";
inline constexpr std::string_view kLoggedReadError = "Error while processing read ";
inline constexpr std::string_view kLoggedReadSkipped = "Continuing with next read.";

/// The path of the newest main log file in a folder: of the names "read_processor_log-<date>_<time>.log", the one with
/// the latest time. Empty if there is none, or, with `error` set, if the folder cannot be listed. Verbose log files
/// have a different name.
std::string NewestRunLog(const std::string& folder, std::error_code& error);

}  // namespace Common
