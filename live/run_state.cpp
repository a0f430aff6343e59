#include "live/run_state.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "checks/files_table.h"
#include "checks/input_list.h"
#include "checks/texts.h"

namespace Live {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kFirstLine = "tavik_live 1";
constexpr std::string_view kNone = "-";

// The shortest text that parses to the same number.
std::string Text(double number) {
    std::array<char, 32> digits{};
    return {digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr};
}

template <typename Number>
Number Parsed(std::string_view text) {
    Number number{};
    const auto end = std::from_chars(text.data(), text.data() + text.size(), number);
    if (end.ec != std::errc() || end.ptr != text.data() + text.size()) {
        throw std::runtime_error("not a number: " + std::string(text));
    }
    return number;
}

// The first `count` columns of a line. The last of them may contain tabs. Throws std::runtime_error if there are fewer.
std::vector<std::string_view> Columns(std::string_view line, std::size_t count) {
    std::vector<std::string_view> columns;
    for (; columns.size() + 1 < count; line.remove_prefix(columns.back().size() + 1)) {
        const auto tab = line.find('\t');
        if (tab == std::string_view::npos) {
            throw std::runtime_error("columns are missing");
        }
        columns.push_back(line.substr(0, tab));
    }
    columns.push_back(line);
    return columns;
}

std::string StampText(const Stamp& stamp) {
    return std::to_string(stamp.size) + '\t' + std::to_string(stamp.time) + '\t' + std::to_string(stamp.inode);
}

// Calls `visit` with the key and the value of each stored member of a state except the files.
template <typename State, typename Visitor>
void VisitFields(State& state, Visitor&& visit) {
    visit("input", state.input);
    visit("reference", state.reference);
    visit("reference size", state.reference_stamp.size);
    visit("reference time", state.reference_stamp.time);
    visit("minimum coverage", state.min_coverage);
    visit("allowed failed reads", state.allowed_failed_reads);
    visit("shown input", state.shown_input);
    visit("log", state.log_name);
    visit("log bytes", state.log_bytes);
    visit("summary bytes", state.summary_bytes);
    visit("milliseconds", state.milliseconds);
}

std::string FieldText(const std::string& text) {
    if (text.find('\n') != std::string::npos) {
        throw std::runtime_error(Checks::Printable(text) + ": paths with line feeds are not supported");
    }
    return text;
}

template <typename Number>
std::string FieldText(Number number) {
    return std::to_string(number);
}

void SetField(std::string& field, std::string_view text) {
    field = text;
}

template <typename Number>
void SetField(Number& field, std::string_view text) {
    field = Parsed<Number>(text);
}

std::string ShownInput(std::string folder) {
    while (folder.size() > 1 && folder.back() == '/') {
        folder.pop_back();
    }
    return folder;
}

}  // namespace

RunState RunState::For(const Options& options) {
    RunState state;
    const auto canonical = [](const std::string& path) {
        std::error_code error;
        auto found = fs::canonical(path, error);
        if (error) {
            throw std::system_error(error, path);
        }
        return found.string();
    };
    state.input = canonical(options.reads);
    if (!fs::is_directory(state.input)) {
        throw std::system_error(ENOTDIR, std::generic_category(), options.reads);
    }
    state.reference = canonical(options.reference);
    state.reference_stamp = StampOf(options.reference);
    state.min_coverage = Live::Text(options.min_coverage);
    state.allowed_failed_reads = std::to_string(options.allowed_failed_reads);
    state.shown_input = ShownInput(options.reads);
    return state;
}

void RunState::Add(const std::vector<FileRecord>& aligned) {
    std::set<std::string_view> names;
    for (const auto& file : aligned) {
        names.insert(file.name);
    }
    std::erase_if(files, [&](const auto& file) { return !file.reads && names.count(file.name) > 0; });
    files.insert(files.end(), aligned.begin(), aligned.end());
}

void RunState::GiveUp(const FileRecord& file) {
    if (file.name.find_first_of("\t\n") == std::string::npos) {
        files.push_back(file);
    }
}

bool RunState::HasReads() const {
    return std::any_of(files.begin(), files.end(), [](const auto& file) { return file.reads.has_value(); });
}

std::string RunState::Text() const {
    std::ostringstream text;
    text << kFirstLine << '\n';
    VisitFields(*this, [&](const char* key, const auto& value) { text << key << '\t' << FieldText(value) << '\n'; });
    for (const auto& file : files) {
        text << "file\t" << (file.reads ? std::to_string(*file.reads) : std::string(kNone)) << '\t'
             << StampText(file.stamp) << '\t' << Checks::OneLine(file.reason) << '\t' << file.name << '\n';
    }
    text << "end\n";
    return text.str();
}

RunState RunState::Parse(const std::string& text) {
    std::istringstream lines(text);
    std::string line;
    RunState state;
    const auto next = [&] {
        if (!std::getline(lines, line)) {
            throw std::runtime_error("it ends too early");
        }
    };
    next();
    if (line != kFirstLine) {
        throw std::runtime_error("it was written by a different version");
    }
    VisitFields(state, [&](const char* key, auto& value) {
        next();
        const auto columns = Columns(line, 2);
        if (columns[0] != key) {
            throw std::runtime_error(std::string("the line '") + key + "' is missing");
        }
        SetField(value, columns[1]);
    });
    for (next(); line != "end"; next()) {
        const auto columns = Columns(line, 7);
        auto& file = state.files.emplace_back();
        if (columns[1] != kNone) {
            file.reads = Parsed<std::uint64_t>(columns[1]);
        }
        file.stamp = {Parsed<std::uint64_t>(columns[2]), Parsed<std::int64_t>(columns[3]),
                      Parsed<std::uint64_t>(columns[4])};
        file.reason = columns[5];
        file.name = columns[6];
    }
    return state;
}

std::vector<std::string> RunState::DifferencesFrom(const RunState& earlier) const {
    std::vector<std::string> differences;
    const auto compare = [&](const std::string& option, const std::string& then, const std::string& now) {
        if (then != now) {
            differences.push_back(option + ": " + then + " then, " + now + " now");
        }
    };
    compare("--input_path", earlier.input, input);
    compare("--align_ref", earlier.reference, reference);
    compare("size of the reference", std::to_string(earlier.reference_stamp.size),
            std::to_string(reference_stamp.size));
    if (differences.empty() && earlier.reference_stamp.time != reference_stamp.time) {
        differences.push_back("the modification time of the reference " + reference + " is different");
    }
    compare("--min_coverage", earlier.min_coverage, min_coverage);
    compare("--allow-failed-reads", earlier.allowed_failed_reads, allowed_failed_reads);
    return differences;
}

std::string RunState::FilesTable() const {
    std::ostringstream table;
    Checks::WriteFilesTableHeader(table);
    for (const auto& file : files) {
        if (file.reads) {
            Checks::WriteFilesTableLine(table, *file.reads, SamNameOf(file.name), shown_input + "/" + file.name);
        }
    }
    return table.str();
}

std::string SamNameOf(const std::string& name) {
    return Checks::SamName("reads/" + name, "reads");
}

}  // namespace Live
