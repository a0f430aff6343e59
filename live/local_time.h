#pragma once

#include <string>

namespace Live {

/// The current local date and time, such as "2025-01-31 23:59:59".
std::string LocalTime();

}  // namespace Live
