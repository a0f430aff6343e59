#include "common/run_logs.h"

#include <algorithm>
#include <filesystem>

namespace Common {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kNameForm = "read_processor_log-0000-00-00_00-00-00.log";  // 0 matches any digit.

bool IsLogName(std::string_view name) {
    return std::equal(name.begin(), name.end(), kNameForm.begin(), kNameForm.end(), [](char letter, char expected) {
        return expected == '0' ? letter >= '0' && letter <= '9' : letter == expected;
    });
}

}  // namespace

std::string NewestRunLog(const std::string& folder, std::error_code& error) {
    std::string newest;
    for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        const auto name = entry->path().filename().string();
        std::error_code unknown;
        if (IsLogName(name) && name > newest && entry->is_regular_file(unknown)) {
            newest = name;
        }
    }
    return newest.empty() || error ? "" : (fs::path(folder) / newest).string();
}

}  // namespace Common
