#pragma once

#include <array>
#include <set>
#include <string>

#include "common/logging/severity.h"

namespace Common::logging {

/// Names the loggers of a LoggerGroup; the values are positions in the default options.
enum class Loggers { main_file = 0, error_console = 1, output_console = 2, verbose_file = 3 };

inline constexpr int kLoggerCount = 4;

/// What one sink takes and how it writes it.
struct SinkOptions {
    std::set<Severity> severities;  ///< Records of other severities are left out.
    bool auto_flush = true;         ///< Flush after each record.
    bool show_origin = false;       ///< Thread id and function.
    bool show_time_stamp = true;    ///< Local date and time.
    bool show_severity = true;      ///< Severity in brackets.
    bool show_channel = false;      ///< Channel name.
    bool enabled = false;           ///< A sink that is not enabled is not installed.
    std::string trace_categories;   ///< Channels, separated by commas or blanks, whose trace records are taken.

    /// True when a record of that severity may be taken; for trace, from some channel.
    bool Takes(Severity severity) const;
    /// True when trace records of `channel` are taken.
    bool TakesTraceOf(const std::string& channel) const;
};

/// The options of the four sinks, in the order of Loggers: the main log file, standard error (warnings and
/// errors), standard output (messages, nothing when `quiet`) and the verbose log file, which only
/// `verbose_logs` or a non-empty `trace_categories` enables. The two consoles are not enabled: who installs them does
/// that.
std::array<SinkOptions, kLoggerCount> GetDefaultTavikLogOptions(bool quiet, bool verbose_logs,
                                                                const std::string& trace_categories);

}  // namespace Common::logging
