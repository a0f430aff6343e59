#pragma once

#include <string>
#include <string_view>
#include <system_error>

namespace Common {

// Texts in a run's log file, from which other programs learn what became of its files and reads.
inline constexpr std::string_view kLoggedBanner = "QEL Tavik alignment software version ";
inline constexpr std::string_view kLoggedFileStart = "Starting input file ";
inline constexpr std::string_view kLoggedFileEnd = "Successfully finished input file ";
inline constexpr std::string_view kLoggedFileError = "Error while processing input file ";
inline constexpr std::string_view kLoggedReadError = "Error while processing read ";
inline constexpr std::string_view kLoggedReadSkipped = "Continuing with next read.";

/// The path of the newest main log file in a folder: of the files named "read_processor_log-<date>_<time>.log", the one
/// with the latest time in its name. Empty if there is none, or, with `error` set, if the folder cannot be listed.
/// Verbose log files have different names.
std::string NewestRunLog(const std::string& folder, std::error_code& error);

}  // namespace Common
