#pragma once

#include <string>

namespace Live {

/// The local date and time now, "2025-01-31 23:59:59".
std::string LocalTime();

}  // namespace Live
