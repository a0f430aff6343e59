#include "live/round_log.h"

#include <ctime>
#include <iomanip>
#include <sstream>
#include <string_view>

#include <boost/algorithm/string/replace.hpp>

#include "checks/texts.h"
#include "common/run_logs.h"

namespace Live {

namespace {

constexpr std::string_view kInputPath = "input path:         ";
constexpr std::string_view kSavePath = "save path:          ";

bool IsStart(std::string_view line) {
    return line.find("] " + std::string(Common::kLoggedFileStart)) != std::string_view::npos;
}

std::string Now() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    std::ostringstream text;
    text << std::put_time(&local, "%Y-%m-%d %H:%M:%S.000000");
    return text.str();
}

}  // namespace

std::string RecordsOfFiles(const std::string& log, const std::vector<NameInLog>& names) {
    std::istringstream lines(log);
    std::string records;
    const NameInLog* current = nullptr;
    for (std::string line; std::getline(lines, line);) {
        for (const auto& name : names) {
            if (IsStart(line) && line.ends_with(std::string(Common::kLoggedFileStart) + name.logged)) {
                current = &name;
            }
        }
        if (current == nullptr) {
            continue;
        }
        if (current->kept) {
            records += boost::replace_all_copy(line, current->logged, current->shown) + '\n';
        }
        if (line.find("] " + std::string(Common::kLoggedFileEnd) + current->logged + " (") != std::string::npos) {
            current = nullptr;
        }
    }
    return records;
}

std::string RecordsOfStart(const std::string& log, const std::string& input, const std::string& save_folder) {
    std::istringstream lines(log);
    std::string records;
    for (std::string line; std::getline(lines, line) && !IsStart(line);) {
        if (line.starts_with(kInputPath)) {
            line = std::string(kInputPath) + input;
        } else if (line.starts_with(kSavePath)) {
            line = std::string(kSavePath) + save_folder;
        }
        records += line + '\n';
    }
    return records;
}

std::string RecordsOfEnd(const std::vector<LostFile>& lost, bool done, std::uint64_t milliseconds) {
    std::string records;
    const auto now = Now();
    for (const auto& file : lost) {
        records.append(now)
            .append(" [error] ")
            .append(Common::kLoggedFileError)
            .append(Checks::Printable(file.shown) + ": " + Checks::OneLine(file.reason) +
                    ". Will continue with next input file.\n");
    }
    if (done) {
        records += now + " [message] Done in " + std::to_string(milliseconds) + " ms.\n";
    }
    return records;
}

}  // namespace Live
