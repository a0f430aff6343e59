#pragma once

#include "tests/common/texts.h"

namespace Tests {

/// Collects the log records made while it lives; one at a time. Safe against records from several threads.
class CapturedLog {
public:
    CapturedLog();
    CapturedLog(const CapturedLog&) = delete;
    CapturedLog& operator=(const CapturedLog&) = delete;
    ~CapturedLog();

    /// The texts of the records so far that are of one severity, by its name.
    Lines Of(const std::string& severity) const;
};

}  // namespace Tests
