#include "common/logger.h"

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <iomanip>
#include <regex>
#include <set>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>

#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"

namespace {

namespace logging = Common::logging;
using logging::Severity;
using Tests::Lines;

// Returns the lines of the only file in `folder` whose name begins with `prefix`; no lines if there is none.
Lines LogLines(const Tests::TemporaryFolder& folder, const std::string& prefix) {
    Lines lines;
    for (const auto& entry : std::filesystem::directory_iterator(folder.Path(""))) {
        if (entry.path().filename().string().starts_with(prefix)) {
            EXPECT_EQ(lines, Lines{}) << "a second file " << entry;
            lines = Tests::ReadLines(entry.path());
        }
    }
    return lines;
}

// Returns the last letter of each line, which is the text of a record from LogOneOfEach.
std::string Texts(const Lines& lines) {
    std::string texts;
    for (const auto& line : lines) {
        texts += line.back();
    }
    return texts;
}

void StartLogging(const Tests::TemporaryFolder& folder, bool quiet, bool verbose, const std::string& categories) {
    logging::InitLogging("50%d", "c_verbose", quiet, verbose, categories);
    logging::LoggerGroup::Instance().SetFolder(folder.Path(""));
}

void LogOneOfEach() {
    TAVIK_LOG(trace) << "t";
    TAVIK_LOG(verbose) << "v";
    TAVIK_LOG(message) << "m";
    TAVIK_LOG(info) << "i";
    TAVIK_LOG(warning) << "w";
    TAVIK_LOG(error) << "e";
}

TEST(Severity, NamesConvertBothWaysAndOtherTextsAreRefused) {
    for (const char* name : {"trace", "verbose", "message", "info", "warning", "error"}) {
        EXPECT_STREQ(ToString(logging::SeverityFromString(name)), name);
    }
    EXPECT_LT(Severity::message, Severity::info) << "this order is deliberate";
    EXPECT_STREQ(ToString(static_cast<Severity>(6)), "unknown");
    for (const std::string bad : {"Error", "", "unknown", "info "}) {
        EXPECT_EQ(Tests::ErrorOf([&] { logging::SeverityFromString(bad); }),
                  "unable to find severity for string: " + bad);
    }
}

TEST(Logging, EachSinkTakesItsSeverities) {
    // Whether the run is quiet, whether it is verbose, the categories, and the texts on standard output and in the
    // verbose file.
    const std::tuple<bool, bool, std::string, std::string, std::string> cases[] = {
        {false, false, "", "m", ""},
        {true, false, "", "", ""},
        {false, true, "", "m", "vmiwe"},
        {true, true, "c_verbose", "", "vmiwe"},  // --verbose_logs overrides the categories.
        {false, false, "other,c_verbose more", "m", "tvmiwe"},
        {false, false, "c_verbose2 c", "m", "vmiwe"},
    };
    const std::regex main_line("\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{6} \\[message\\] m");
    for (const auto& [quiet, verbose, categories, out, verbose_file] : cases) {
        const Tests::TemporaryFolder folder;
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        StartLogging(folder, quiet, verbose, categories);
        EXPECT_EQ(logging::AcceptsDefaultSeverity(), !verbose_file.empty());
        EXPECT_EQ(logging::Accepts(Severity::trace), !categories.empty() && !verbose);
        LogOneOfEach();
        EXPECT_EQ(Texts(Tests::LinesOf(testing::internal::GetCapturedStdout())), out);
        EXPECT_EQ(Texts(Tests::LinesOf(testing::internal::GetCapturedStderr())), "we");
        const auto main_lines = LogLines(folder, "50%d_log-2");
        EXPECT_EQ(Texts(main_lines), "miwe");
        EXPECT_TRUE(std::regex_match(main_lines.at(0), main_line)) << main_lines[0];
        const auto verbose_lines = LogLines(folder, "c_verbose_log-");
        EXPECT_EQ(Texts(verbose_lines), verbose_file);
        for (const auto& line : verbose_lines) {
            EXPECT_NE(line.find("LogOneOfEach()"), std::string::npos) << line;
        }
    }
    logging::Prepare();
    int evaluated = 0;
    TAVIK_LOG(error) << ++evaluated;
    EXPECT_EQ(evaluated, 0) << "the text of a rejected record is not evaluated";
}

TEST(Logging, FilesAreInTheCurrentFolderUnlessAnotherOneIsSet) {
    const auto before = std::filesystem::current_path();
    const Tests::TemporaryFolder here, other;
    std::filesystem::current_path(here.Path(""));
    logging::InitLogging("c", "c_verbose", true, true, "");
    std::filesystem::current_path(other.Path(""));
    testing::internal::CaptureStderr();
    LogOneOfEach();
    EXPECT_EQ(Texts(LogLines(here, "c_log-")), "miwe");
    EXPECT_EQ(Texts(LogLines(here, "c_verbose_log-")), "vmiwe");
    logging::InitLogging("d", "d_verbose", true, true, "");
    logging::LoggerGroup::Instance().SetFolder(here.Path(""));
    LogOneOfEach();
    EXPECT_EQ(Texts(Tests::LinesOf(testing::internal::GetCapturedStderr())), "wewe");
    EXPECT_EQ(Texts(LogLines(here, "d_log-")), "miwe");
    EXPECT_TRUE(std::filesystem::is_empty(other.Path(""))) << "a sink without records creates no file";
    logging::Prepare();
    std::filesystem::current_path(before);
}

TEST(Logging, OnlyRequestedFilesAreEnabledByDefault) {
    for (const auto& [verbose, categories] : {std::pair(false, ""), std::pair(true, ""), std::pair(false, "x")}) {
        const auto options = logging::GetDefaultTavikLogOptions(false, verbose, categories);
        std::string enabled;
        for (const auto& of_sink : options) {
            enabled += of_sink.enabled ? "1" : "0";
        }
        EXPECT_EQ(enabled, verbose || *categories != '\0' ? "1001" : "1000");
    }
}

TEST(Logging, FileNamesAndLinesHaveLocalTime) {
    constexpr std::time_t kEast = 13 * 3600 + 37 * 60;
    const char* const zone = std::getenv("TZ");
    const std::string old_zone = zone != nullptr ? zone : "";
    ::setenv("TZ", "TEST-13:37", 1);
    ::tzset();
    const Tests::TemporaryFolder folder;
    const auto from = std::time(nullptr) + kEast;  // This clock is up to 10 ms behind that of the lines.
    StartLogging(folder, true, false, "");
    TAVIK_LOG(info) << "i";
    const auto to = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now()) + kEast;
    const auto name = std::filesystem::directory_iterator(folder.Path(""))->path().filename().string();
    const auto line = LogLines(folder, "50%d").at(0);
    logging::Prepare();
    for (const auto& [text, format] : {std::pair(name, "50%%d_log-%Y-%m-%d_%H-%M-%S.log"),
                                       std::pair(line.substr(0, line.find('.')), "%Y-%m-%d %H:%M:%S")}) {
        std::tm read{};
        std::istringstream stream(text);
        stream >> std::get_time(&read, format);
        const auto time = ::timegm(&read);
        EXPECT_TRUE(stream && from <= time && time <= to) << text;
    }
    zone != nullptr ? ::setenv("TZ", old_zone.c_str(), 1) : ::unsetenv("TZ");
    ::tzset();
}

TEST(Logging, RunsOfTheSameSecondKeepEachOthersLines) {
    const Tests::TemporaryFolder folder;
    for (int run = 0; run < 3; ++run) {
        StartLogging(folder, true, false, "");
        TAVIK_LOG(info) << "i";
    }
    logging::Prepare();
    std::size_t lines = 0;
    for (const auto& file : std::filesystem::directory_iterator(folder.Path(""))) {
        lines += Tests::ReadLines(file.path()).size();
    }
    EXPECT_EQ(lines, 3U);
}

TEST(Logging, SinksOfTheWrongTypeAreRefused) {
    const Tests::TemporaryFolder folder;
    StartLogging(folder, true, false, "");
    auto& group = logging::LoggerGroup::Instance();
    testing::internal::CaptureStderr();
    group.updateStreamSink(logging::Loggers::main_file, {});
    group.updateFileSink(logging::Loggers::output_console, folder.Path(""), "x", {});
    const auto said = Tests::LinesOf(testing::internal::GetCapturedStderr());
    EXPECT_EQ(said.size(), 2U);
    for (const auto& line : said) {  // Deliberate: the message says "file" for a stream sink, too.
        EXPECT_TRUE(line.ends_with("[error] Failed to update file sink - received wrong logger type")) << line;
    }

    EXPECT_TRUE(logging::Accepts(Severity::info));
    group.updateFileSink(logging::Loggers::main_file, folder.Path(""), "x", {});
    EXPECT_FALSE(logging::Accepts(Severity::info)) << "a default-constructed SinkOptions does not enable the sink";
    logging::Prepare();
}

TEST(Logging, RecordsOfManyThreadsAreCompleteLines) {
    const Tests::TemporaryFolder folder;
    StartLogging(folder, true, true, "");
    std::vector<std::jthread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < 100; ++i) {
                TAVIK_LOG_FROM(verbose, "f") << std::string(100, static_cast<char>('a' + t));
            }
        });
    }
    threads.clear();
    logging::Prepare();
    const auto lines = LogLines(folder, "c_verbose_log-");
    EXPECT_EQ(lines.size(), 800U);
    std::set<std::string> threads_seen;
    const std::regex whole("\\S+ \\S+ (\\S+) f \\[verbose\\] (.)\\2{99}");
    for (const auto& line : lines) {
        std::smatch match;
        ASSERT_TRUE(std::regex_match(line, match, whole)) << line;
        threads_seen.insert(match[1]);
    }
    EXPECT_EQ(threads_seen.size(), 8U);
}

}  // namespace
