#pragma once

#include <ostream>
#include <sstream>

#include "common/logging/accepted_severities.h"
#include "common/logging/severity.h"

namespace Common::logging {

/// One log record under construction. Construct it only for an accepted severity. The destructor passes the record to
/// the global logger and never throws. `function` becomes the record's "Function" attribute: the signature of the
/// function that logs. The string must outlive the record.
class Record {
public:
    Record(Severity severity, const char* function) : severity(severity), function(function) {}
    Record(const Record&) = delete;
    Record& operator=(const Record&) = delete;
    ~Record();

    /// The stream that collects the text of the record.
    std::ostream& Stream() { return text; }

private:
    Severity severity;
    const char* function;
    std::ostringstream text;
};

}  // namespace Common::logging

/// `TAVIK_LOG(info) << "text" << value;` logs one record at the named severity from the calling function. If the
/// severity is not accepted (see Accepts), this costs one branch: nothing to the right of the macro is evaluated.
#define TAVIK_LOG(severity_name) TAVIK_LOG_FROM(severity_name, __PRETTY_FUNCTION__)

/// Like TAVIK_LOG, but with the given "Function" attribute.
#define TAVIK_LOG_FROM(severity_name, function_name)                               \
    if (!::Common::logging::Accepts(::Common::logging::Severity::severity_name)) { \
    } else                                                                         \
        ::Common::logging::Record(::Common::logging::Severity::severity_name, function_name).Stream()
