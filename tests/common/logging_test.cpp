#include "common/logger.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "common/logger_group.h"
#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"

namespace {

using Common::logging::Accepts;
using Common::logging::InitLogging;
using Common::logging::LoggerGroup;
using Common::logging::Loggers;
using Common::logging::Severity;
using Tests::Lines;
using Tests::ReadLines;

// The one file in `folder` whose name begins so; empty when there is none.
std::string LogFile(const std::string& folder, const std::string& prefix) {
    std::string found;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().filename().string().starts_with(prefix)) {
            EXPECT_EQ(found, "");
            found = entry.path().string();
        }
    }
    return found;
}

void LogOneOfEach() {
    TAVIK_LOG(trace) << "t";
    TAVIK_LOG(verbose) << "v";
    TAVIK_LOG(message) << "m";
    TAVIK_LOG(info) << "i";
    TAVIK_LOG(warning) << "w";
    TAVIK_LOG(error) << "e";
}

// The texts of log lines, in one string.
std::string Texts(const Lines& lines) {
    std::string texts;
    for (const auto& line : lines) {
        texts += line.back();
    }
    return texts;
}

TEST(Severity, NamesConvertBothWaysAndNothingElseDoes) {
    for (const char* name : {"trace", "verbose", "message", "info", "warning", "error"}) {
        EXPECT_STREQ(ToString(Common::logging::SeverityFromString(name)), name);
    }
    EXPECT_LT(Severity::message, Severity::info) << "deliberate";
    EXPECT_STREQ(ToString(static_cast<Severity>(6)), "unknown");
    for (const std::string bad : {"Error", "", "unknown", "info "}) {
        EXPECT_EQ(Tests::ErrorOf([&] { Common::logging::SeverityFromString(bad); }),
                  "unable to find severity for string: " + bad);
    }
}

TEST(Logging, EachSinkTakesItsSeverities) {
    const struct {
        bool quiet, verbose;
        const char *categories, *main_file, *out, *err, *verbose_file;
    } cases[] = {
        {false, false, "", "miwe", "m", "we", ""},
        {true, false, "", "miwe", "", "we", ""},
        {false, true, "", "miwe", "m", "we", "vmiwe"},
        {true, true, "c_verbose", "miwe", "", "we", "vmiwe"},  // --verbose_logs outdoes the categories.
        {false, false, "other, c_verbose", "miwe", "m", "we", "tvmiwe"},
        {false, false, "other", "miwe", "m", "we", "vmiwe"},
    };
    for (const auto& c : cases) {
        const Tests::TemporaryFolder folder;
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        InitLogging("c", "c_verbose", c.quiet, c.verbose, c.categories);
        LoggerGroup::Instance().SetFolder(folder.Path(""));
        EXPECT_EQ(Common::logging::AcceptsDefaultSeverity(), *c.verbose_file != '\0');
        EXPECT_EQ(Accepts(Severity::trace),
                  std::string(c.verbose_file).starts_with("t") || std::string(c.categories) == "other");
        LogOneOfEach();
        std::istringstream out(testing::internal::GetCapturedStdout());
        std::istringstream err(testing::internal::GetCapturedStderr());
        std::string line;
        EXPECT_EQ(std::getline(out, line) ? line.substr(line.size() - 1) : "", c.out);
        EXPECT_EQ(Texts({std::istream_iterator<std::string>(err), {}}).find('w') != std::string::npos, true);
        const auto main_lines = ReadLines(LogFile(folder.Path(""), "c_log-"));
        EXPECT_EQ(Texts(main_lines), c.main_file);
        EXPECT_TRUE(std::regex_match(main_lines.at(0),
                                     std::regex("\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{6} \\[message\\] m")));
        const auto verbose_lines = ReadLines(LogFile(folder.Path(""), "c_verbose_log-"));
        EXPECT_EQ(Texts(verbose_lines), c.verbose_file);
        for (const auto& verbose_line : verbose_lines) {
            EXPECT_NE(verbose_line.find("LogOneOfEach()"), std::string::npos) << verbose_line;
        }
    }
    Common::logging::Prepare();
    EXPECT_FALSE(Accepts(Severity::error)) << "prepared means silent";
}

TEST(Logging, ARejectedRecordIsNotEvaluated) {
    Common::logging::Prepare();
    int evaluated = 0;
    TAVIK_LOG(error) << ++evaluated;
    EXPECT_EQ(evaluated, 0);
}

TEST(Logging, SinksGoOnlyToTheirLoggers) {
    const Tests::TemporaryFolder folder;
    InitLogging("c", "c_verbose", true, false, "");
    auto& group = LoggerGroup::Instance();
    const std::string wrong =
        "[error] Failed to update file sink - received wrong logger type";  // For both: deliberate.
    testing::internal::CaptureStderr();
    group.updateStreamSink(Loggers::main_file, {});
    group.updateFileSink(Loggers::output_console, folder.Path(""), "x", {});
    const auto said = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 2);
    EXPECT_NE(said.find(wrong), said.rfind(wrong));

    Common::logging::SinkOptions options;
    options.severities = {Severity::info};
    options.enabled = true;
    group.updateFileSink(Loggers::main_file, folder.Path(""), "50%d", std::move(options));
    TAVIK_LOG(info) << "x";
    EXPECT_EQ(ReadLines(LogFile(folder.Path(""), "50%d_log-2")).size(), 1U);
    group.updateFileSink(Loggers::main_file, folder.Path(""), "50%d", {});
    EXPECT_FALSE(Accepts(Severity::info));
    Common::logging::Prepare();
}

TEST(Logging, ALogThatCannotBeWrittenIsReportedOnceAndEndsNothing) {
    testing::internal::CaptureStderr();
    InitLogging("c", "c_verbose", true, false, "");
    LoggerGroup::Instance().SetFolder("/no/such/folder");
    TAVIK_LOG(info) << "a";
    TAVIK_LOG(info) << "b";
    const auto said = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(std::regex_match(
        said, std::regex("Could not open log file /no/such/folder/c_log-.*\\.log: No such file or directory\n")))
        << said;
    Common::logging::Prepare();
}

TEST(Logging, RecordsOfManyThreadsAreWholeLines) {
    const Tests::TemporaryFolder folder;
    InitLogging("c", "c_verbose", true, true, "");
    LoggerGroup::Instance().SetFolder(folder.Path(""));
    {
        std::vector<std::jthread> threads;
        for (int t = 0; t < 8; ++t) {
            threads.emplace_back([t] {
                for (int i = 0; i < 100; ++i) {
                    TAVIK_LOG_FROM(verbose, "f") << std::string(100, static_cast<char>('a' + t));
                }
            });
        }
    }
    Common::logging::Prepare();
    const auto lines = ReadLines(LogFile(folder.Path(""), "c_verbose_log-"));
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
