#include "common/logging/severity.h"

#include <array>
#include <cstddef>
#include <stdexcept>

namespace Common::logging {

namespace {
constexpr std::array<const char*, 6> kNames = {"trace", "verbose", "message", "info", "warning", "error"};
}  // namespace

const char* ToString(Severity severity) noexcept {
    const auto index = static_cast<std::size_t>(severity);
    return index < kNames.size() ? kNames[index] : "unknown";
}

Severity SeverityFromString(const std::string& text) {
    for (std::size_t i = 0; i < kNames.size(); ++i) {
        if (text == kNames[i]) {
            return static_cast<Severity>(i);
        }
    }
    throw std::runtime_error("unable to find severity for string: " + text);
}

}  // namespace Common::logging
