#pragma once

#include <string>
#include <vector>

namespace Tests {

/// Collects the texts of the log records made while it lives, as "severity: text"; one at a time. Safe
/// against records from several threads.
class CapturedLog {
public:
    CapturedLog();
    CapturedLog(const CapturedLog&) = delete;
    CapturedLog& operator=(const CapturedLog&) = delete;
    ~CapturedLog();

    /// The records so far.
    std::vector<std::string> Records() const;
    /// Those of one severity name, without it.
    std::vector<std::string> Of(const std::string& severity) const;
};

}  // namespace Tests
