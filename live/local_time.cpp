#include "live/local_time.h"

#include <array>
#include <ctime>

namespace Live {

std::string LocalTime() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&now, &local);
    std::array<char, 32> text{};
    return {text.data(), std::strftime(text.data(), text.size(), "%F %T", &local)};
}

}  // namespace Live
