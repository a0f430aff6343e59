#include "reports/sam_references.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string_view>

#include "common/summary_columns.h"
#include "reports/run_folders.h"
#include "reports/shown_text.h"

namespace Reports {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kHead = std::size_t{64} << 10U;

std::vector<std::string> SamFiles(const std::string& folder, std::vector<std::string>& warnings) {
    std::vector<std::string> files;
    std::error_code error;
    fs::recursive_directory_iterator entry(folder, fs::directory_options::skip_permission_denied, error);
    for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
        std::error_code unknown;
        if (entry->is_directory(unknown)) {
            if (fs::exists(entry->path() / Common::kSummaryFileName, unknown)) {
                entry.disable_recursion_pending();
            }
        } else if (entry->path().extension() == ".sam" && entry->is_regular_file(unknown)) {
            files.push_back(entry->path().string());
        }
    }
    if (error) {
        warnings.push_back(folder + ": not all SAM files could be listed: " + error.message());
    }
    std::sort(files.begin(), files.end());
    return files;
}

// The header lines in the first kHead bytes of the file.
std::string Head(std::ifstream& stream) {
    std::string head(kHead, '\0');
    stream.read(head.data(), static_cast<std::streamsize>(head.size()));
    head.resize(static_cast<std::size_t>(stream.gcount()));
    std::size_t end = 0;
    while (end < head.size() && head[end] == '@') {
        end = std::min(head.find('\n', end), head.size() - 1) + 1;
    }
    head.resize(end);
    return head;
}

std::string_view Field(std::string_view line, std::string_view tag) {
    const auto start = line.find(tag);
    if (start == std::string_view::npos) {
        return {};
    }
    line.remove_prefix(start + tag.size());
    return line.substr(0, line.find('\t'));
}

void AddLine(std::string_view line, ReferenceLengths& lengths) {
    if (!line.starts_with("@SQ\t")) {
        return;
    }
    const auto name = Field(line, "\tSN:");
    const auto digits = Field(line, "\tLN:");
    std::int32_t length = 0;
    const auto parsed = std::from_chars(digits.data(), digits.data() + digits.size(), length);
    if (name.empty() || parsed.ec != std::errc() || parsed.ptr != digits.data() + digits.size() || length <= 0) {
        return;
    }
    const auto [known, is_new] = lengths.emplace(name, length);
    if (!is_new && known->second != length) {
        known->second = 0;
    }
}

}  // namespace

ReferenceLengths ReadSamReferences(const std::string& folder, std::vector<std::string>& warnings) {
    ReferenceLengths lengths;
    std::set<std::string> heads;
    auto files = SamFiles(folder, warnings);
    for (const auto& run : RunFolders(folder)) {
        if (run != folder) {
            auto more = SamFiles(run, warnings);
            files.insert(files.end(), std::move_iterator(more.begin()), std::move_iterator(more.end()));
        }
    }
    for (const auto& file : files) {
        std::ifstream stream(file, std::ios_base::binary);
        if (!stream) {
            warnings.push_back(file + ": the SAM file cannot be read");
            continue;
        }
        if (!heads.insert(Head(stream)).second) {
            continue;
        }
        stream.clear();
        stream.seekg(0);
        std::string line;
        while (stream.peek() == '@' && std::getline(stream, line)) {
            AddLine(line, lengths);
        }
    }
    const auto contradictory =
        std::count_if(lengths.begin(), lengths.end(), [](const auto& one) { return one.second == 0; });
    if (contradictory > 0) {
        warnings.push_back(folder + ": depth and breadth are left out for " +
                           Counted(static_cast<std::uint64_t>(contradictory), "reference sequence") +
                           ", because the SAM files give different lengths");
    }
    return lengths;
}

}  // namespace Reports
