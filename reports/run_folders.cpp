#include "reports/run_folders.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "common/run_logs.h"

namespace Reports {

namespace fs = std::filesystem;

namespace {

constexpr char kChunks[] = "chunks";

}  // namespace

std::vector<std::string> RunFolders(const std::string& folder) {
    std::vector<std::string> folders;
    std::error_code error;
    if (Common::NewestRunLog(folder, error).empty()) {
        for (fs::directory_iterator entry(fs::path(folder) / kChunks, error);
             !error && entry != fs::directory_iterator(); entry.increment(error)) {
            std::error_code unknown;
            if (entry->is_directory(unknown)) {
                folders.push_back(entry->path().string());
            }
        }
        std::sort(folders.begin(), folders.end());
    }
    return folders.empty() ? std::vector<std::string>{folder} : folders;
}

}  // namespace Reports
