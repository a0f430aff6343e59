#include "reports/run_log.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <fstream>
#include <limits>
#include <optional>
#include <stdexcept>
#include <system_error>

#include "common/run_logs.h"

namespace Reports {

namespace {

constexpr std::size_t kKept = 5;
constexpr std::size_t kLongestMessage = 500;
constexpr std::size_t kLongestLine = std::size_t{1} << 16U;
constexpr std::string_view kDateShape = "dddd-dd-dd dd:dd:dd.";
constexpr std::size_t kDateLength = kDateShape.size() - 1;

constexpr std::string_view kDone = "Done in ";
constexpr std::array<std::string_view, 4> kOptions = {"input path:", "save path:", "alignment ref.:", "min. coverage:"};

// Reads the next line and drops what does not fit into kLongestLine bytes. Returns false at the end.
bool NextLine(std::istream& stream, std::string& line) {
    line.resize(kLongestLine);
    stream.getline(line.data(), static_cast<std::streamsize>(line.size()));
    const auto read = static_cast<std::size_t>(stream.gcount());
    if (read == 0) {
        return false;
    }
    if (stream.fail() && !stream.eof()) {  // The buffer is full.
        stream.clear();
        stream.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
        line.resize(read);
    } else {
        line.resize(stream.eof() ? read : read - 1);  // gcount includes the line feed.
    }
    return true;
}

bool BeginsWithDate(std::string_view line) {
    const auto fits = [](char shape, char letter) {
        return shape == 'd' ? letter >= '0' && letter <= '9' : letter == shape;
    };
    return line.size() > kDateShape.size() && std::equal(kDateShape.begin(), kDateShape.end(), line.begin(), fits);
}

std::string_view WithoutBlanks(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    return text;
}

// The whole number between `before` and `after`; std::nullopt if `text` has a different form.
std::optional<std::uint64_t> NumberBetween(std::string_view before, std::string_view text, std::string_view after) {
    std::uint64_t number = 0;
    if (!text.starts_with(before) || !text.ends_with(after) || text.size() < before.size() + after.size()) {
        return std::nullopt;
    }
    text = text.substr(before.size(), text.size() - before.size() - after.size());
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
    return parsed.ec == std::errc() && parsed.ptr == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

class Reader {
public:
    void Take(std::string_view line) {
        if (BeginsWithDate(line)) {
            TakeRecord(line);
        } else if (is_in_banner) {
            TakeOption(line);
        }
    }

    RunLog run;

private:
    void TakeRecord(std::string_view line) {
        is_in_banner = false;
        const auto mark = line.find('[');
        const auto end = line.find("] ", mark);
        if (mark == std::string_view::npos || end == std::string_view::npos) {
            return;
        }
        const auto severity = line.substr(mark + 1, end - mark - 1);
        const auto message = line.substr(end + 2);
        if (severity == "message" && message.starts_with(Common::kLoggedBanner)) {
            // Errors about output files may precede the banner, so records since the end of the previous run belong to
            // the new one. If the previous run was killed, they cannot be told apart from its own records.
            run = run.version.empty() || run.is_finished ? std::move(after_end) : RunLog();
            after_end = {};
            run.version = message.substr(Common::kLoggedBanner.size());
            is_in_banner = true;
        }
        for (auto* const one : {&run, &after_end}) {
            one->begin = one->begin.empty() ? line.substr(0, kDateLength) : one->begin;
            one->end = line.substr(0, kDateLength);
            Count(severity, message, *one);
        }
        const auto milliseconds = NumberBetween(kDone, message, " ms.");
        if (severity == "message" && milliseconds) {
            run.is_finished = true;
            run.milliseconds = *milliseconds;
            after_end = {};
        }
    }

    static void Count(std::string_view severity, std::string_view message, RunLog& run) {
        if (severity == "warning") {
            run.warnings.Add(message);
        } else if (severity == "error" && message.starts_with(Common::kLoggedFileError)) {
            run.failed_files.Add(message);
            run.current_file.clear();
        } else if (severity == "error" &&
                   (message.starts_with(Common::kLoggedReadError) || message.ends_with(Common::kLoggedReadSkipped))) {
            run.failed_reads.Add(message);
        } else if (severity == "error") {
            run.errors.Add(message);
        } else if (message.starts_with(Common::kLoggedFileStart)) {
            run.current_file = message.substr(Common::kLoggedFileStart.size());
        } else if (message.starts_with(Common::kLoggedFileEnd)) {
            ++run.finished_files;
            run.current_file.clear();
            const auto reads = message.rfind(" (");
            run.finished_reads +=
                reads == std::string_view::npos ? 0 : NumberBetween(" (", message.substr(reads), " reads)").value_or(0);
        }
    }

    // `line`: a line of the banner after the first one.
    void TakeOption(std::string_view line) {
        for (const auto option : kOptions) {
            const auto name = option.substr(0, option.size() - 1);
            const bool is_known = std::any_of(run.options.begin(), run.options.end(),
                                              [name](const auto& known) { return known.first == name; });
            if (line.starts_with(option) && !is_known) {
                run.options.emplace_back(name, WithoutBlanks(line.substr(option.size())));
            }
        }
    }

    // Facts from the records since the latest banner or end of a run, or from all records if there has been neither.
    RunLog after_end;
    bool is_in_banner = false;
};

}  // namespace

void Messages::Add(std::string_view message) {
    ++count;
    if (first.size() < kKept) {
        first.emplace_back(message.substr(0, kLongestMessage));
    }
}

void Messages::Add(const Messages& others, const std::string& origin) {
    for (std::size_t i = 0; i < others.first.size() && first.size() < kKept; ++i) {
        first.push_back(origin + others.first[i]);
    }
    count += others.count;
}

RunLog ReadRunLog(const std::string& path) {
    errno = 0;
    std::ifstream stream(path, std::ios_base::binary);
    Reader reader;
    std::string line;
    while (stream && NextLine(stream, line)) {
        reader.Take(line);
    }
    if (!stream.eof()) {
        throw std::runtime_error(std::generic_category().message(errno));
    }
    return reader.run;
}

}  // namespace Reports
