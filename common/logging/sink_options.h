#pragma once

#include <array>
#include <set>
#include <string>

#include "common/logging/severity.h"

namespace Common::logging {

/// The loggers of a LoggerGroup; the values are indices into the default options.
enum class Loggers { main_file = 0, error_console = 1, output_console = 2, verbose_file = 3 };

inline constexpr int kLoggerCount = 4;

/// Which records one sink accepts and how it writes them.
struct SinkOptions {
    std::set<Severity> severities;  ///< Accepted severities; see also `trace_categories`.
    bool auto_flush = true;         ///< Flush after each record.
    bool show_origin = false;       ///< Thread id and function.
    bool show_time_stamp = true;    ///< Local date and time.
    bool show_severity = true;      ///< Severity in brackets.
    bool show_channel = false;      ///< Channel name.
    bool enabled = false;           ///< A sink that is not enabled is not installed.
    std::string trace_categories;   ///< Channels, separated by commas or blanks, whose trace records are accepted.

    /// True if the sink accepts records of this severity; for `trace`, if it accepts those of at least one channel.
    bool Takes(Severity severity) const;
    /// True if `trace_categories` names `channel`.
    bool TakesTraceOf(const std::string& channel) const;
};

/// The options of the four sinks, in the order of Loggers:
/// - the main log file;
/// - standard error: warnings and errors;
/// - standard output: messages, or nothing if `quiet`;
/// - the verbose log file, which `verbose_logs` or a non-empty `trace_categories` enables.
///
/// With `verbose_logs`, `trace_categories` has no effect. The two console sinks are not enabled; the caller sets
/// `enabled` before it installs them.
std::array<SinkOptions, kLoggerCount> GetDefaultTavikLogOptions(bool quiet, bool verbose_logs,
                                                                const std::string& trace_categories);

}  // namespace Common::logging
