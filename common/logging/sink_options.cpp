#include "common/logging/sink_options.h"

#include <algorithm>
#include <string_view>

namespace Common::logging {

bool SinkOptions::Takes(Severity severity) const {
    return severities.contains(severity) || (severity == Severity::trace && !trace_categories.empty());
}

bool SinkOptions::TakesTraceOf(const std::string& channel) const {
    static constexpr std::string_view kSeparators = ", ";
    const std::string_view names = trace_categories;
    for (std::size_t start = 0; start < names.size();) {
        const auto end = std::min(names.find_first_of(kSeparators, start), names.size());
        if (names.substr(start, end - start) == channel) {
            return true;
        }
        start = end + 1;
    }
    return false;
}

std::array<SinkOptions, kLoggerCount> GetDefaultTavikLogOptions(bool quiet, bool verbose_logs,
                                                                const std::string& trace_categories) {
    std::array<SinkOptions, kLoggerCount> options;
    auto& [main_file, error_console, output_console, verbose_file] = options;

    main_file.severities = {Severity::message, Severity::info, Severity::warning, Severity::error};
    main_file.enabled = true;
    error_console.severities = {Severity::warning, Severity::error};
    if (!quiet) {
        output_console.severities = {Severity::message};
    }

    if (verbose_logs || !trace_categories.empty()) {
        verbose_file.show_origin = true;
        verbose_file.enabled = true;
        verbose_file.severities = {Severity::verbose, Severity::message, Severity::info, Severity::warning,
                                   Severity::error};
    }
    if (!verbose_logs) {
        verbose_file.trace_categories = trace_categories;
    }
    return options;
}

}  // namespace Common::logging
