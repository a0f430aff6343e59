#include "reports/run_folders.h"

#include <algorithm>
#include <filesystem>
#include <string_view>

namespace Reports {

namespace fs = std::filesystem;

namespace {

constexpr char kChunks[] = "chunks";
// A verbose log file has another name, read_processor_verbose_log-...
constexpr std::string_view kLogBegin = "read_processor_log-";
constexpr std::string_view kLogEnd = ".log";

template <typename Use>
void ForEachEntry(const fs::path& folder, Use use) {
    std::error_code error;
    for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        use(entry->path());
    }
}

}  // namespace

std::string NewestLog(const std::string& folder) {
    fs::path newest;
    ForEachEntry(folder, [&newest](const fs::path& path) {
        const auto name = path.filename().string();
        std::error_code unknown;
        if (name.starts_with(kLogBegin) && name.ends_with(kLogEnd) && name > newest.filename().string() &&
            fs::is_regular_file(path, unknown)) {
            newest = path;
        }
    });
    return newest.string();
}

std::vector<std::string> RunFolders(const std::string& folder) {
    std::vector<std::string> folders;
    if (NewestLog(folder).empty()) {
        ForEachEntry(fs::path(folder) / kChunks, [&folders](const fs::path& path) {
            std::error_code unknown;
            if (fs::is_directory(path, unknown)) {
                folders.push_back(path.string());
            }
        });
        std::sort(folders.begin(), folders.end());
    }
    return folders.empty() ? std::vector<std::string>{folder} : folders;
}

}  // namespace Reports
