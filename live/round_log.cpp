#include "live/round_log.h"

#include <sstream>
#include <string_view>
#include <unordered_map>

#include <boost/algorithm/string/replace.hpp>

#include "checks/texts.h"
#include "common/run_logs.h"
#include "live/local_time.h"

namespace Live {

namespace {

constexpr std::string_view kInputPath = "input path:         ";
constexpr std::string_view kSavePath = "save path:          ";

// The position of the record's text in this line if the text begins with `start`; otherwise npos.
std::size_t FindRecord(std::string_view line, std::string_view start) {
    const auto mark = line.find("] " + std::string(start));
    return mark == std::string_view::npos ? mark : mark + 2;
}

}  // namespace

std::string RecordsOfFiles(const std::string& log, const std::vector<NameInLog>& names) {
    std::unordered_map<std::string_view, const NameInLog*> by_name;
    for (const auto& name : names) {
        by_name.emplace(name.logged, &name);
    }
    std::istringstream lines(log);
    std::string records;
    const NameInLog* current = nullptr;
    for (std::string line; std::getline(lines, line);) {
        if (const auto start = FindRecord(line, Common::kLoggedFileStart); start != std::string::npos) {
            const auto named = by_name.find(std::string_view(line).substr(start + Common::kLoggedFileStart.size()));
            current = named == by_name.end() ? current : named->second;
        }
        if (current == nullptr) {
            continue;
        }
        if (current->kept) {
            records += boost::replace_all_copy(line, current->logged, current->shown) + '\n';
        }
        if (FindRecord(line, std::string(Common::kLoggedFileEnd) + current->logged + " (") != std::string::npos) {
            current = nullptr;
        }
    }
    return records;
}

std::string RecordsOfStart(const std::string& log, const std::string& input, const std::string& save_folder) {
    std::istringstream lines(log);
    std::string records;
    for (std::string line;
         std::getline(lines, line) && FindRecord(line, Common::kLoggedFileStart) == std::string::npos;) {
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
    const auto now = LocalTime() + ".000000";
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
