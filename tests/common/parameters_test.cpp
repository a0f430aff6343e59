#include "common/parameters.h"

#include <filesystem>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <tuple>

#include <gtest/gtest.h>

#include "tests/common/captured_log.h"
#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"

namespace {

using Common::OptionFlags;
using Common::ParseStatus;
using Arguments = std::vector<std::string>;

// Replaces the messages of Boost.Program_options with "...", because they differ between Boost versions. Each
// message is between the outer quotes of a line that begins with "Error". Also checks that `text` contains `repeated`.
std::string WithoutLibraryWords(const std::string& text, const std::string& repeated) {
    EXPECT_NE(text.find(repeated), std::string::npos) << text;
    return std::regex_replace(text, std::regex("(^|\n)(Error [a-z ]*: ').*'\\.\n"), "$1$2...'.\n");
}

class TestedParameters : public Common::Parameters {
public:
    void DeclareOptions() override {
        AddOption("name,n", "A required text.", &name, OptionFlags::Required);
        AddOption("count", "A number.", &count, OptionFlags::CommandLine | OptionFlags::ConfigFile);
        AddOption("ratio", "A ratio.", &ratio, OptionFlags::ConfigFile);
        AddOption("fast,f", "A switch.", &fast, OptionFlags::Flag);
        Common::Parameters& any = *this;
        any.AddOption("only", "Command line alone.", &only, OptionFlags::CommandLine);
        any.AddIgnoredOption("theirs");
    }
    bool ValidateParams() override { return true; }

    unsigned Run(Arguments arguments, std::istream* stream = nullptr, const std::string& path = "",
                 const std::string& data_override = "") {
        std::vector<char*> argv{const_cast<char*>("program")};
        for (auto& argument : arguments) {
            argv.push_back(argument.data());
        }
        Common::Parameters& any = *this;  // Only public members can be called through this reference.
        return any.Parse(stream, path, static_cast<int>(argv.size()), argv.data(), data_override);
    }

    using Parameters::config, Parameters::data_path, Parameters::default_config_name;
    using Parameters::error_text, Parameters::info_text, Parameters::status;
    std::string name = "none";
    int count = 4;
    float ratio = 0.6F;
    bool fast = false;
    std::string only;
};

TEST(Parameters, EveryFaultHasItsMessageAndItsStatusBit) {
    const std::string missing = "Missing required option 'name'.\n";
    const std::string faulty = "Error parsing command line: '...'.\n" + missing;
    const auto on_line = [](const std::string& word) {
        return "Unexpected option '" + word + "' found on command line.\n";
    };
    const auto in_file = [](const std::string& word) {
        return "Unexpected option '" + word + "' found in configuration file.\n";
    };
    const std::string broken_file = "Error parsing config file: '...'.\n";
    constexpr unsigned kFaulty = ParseStatus::ParseError | ParseStatus::MissingOption;
    constexpr unsigned kUnexpected = ParseStatus::UnexpectedOption, kVersion = ParseStatus::VersionRequested;
    const std::string version = "Version requested.\n";
    // Arguments, configuration file, status, errors, information, faulty input that Boost's message must repeat.
    const std::tuple<Arguments, std::string, unsigned, std::string, std::string, std::string> cases[] = {
        {{"-n", "x", "--count=5", "-f"}, "", 0, "", "", ""},
        {{"--count", "5"}, "", ParseStatus::MissingOption, missing, "", ""},
        {{"--count", "5"}, "name=x\n", 0, "", "", ""},
        {{"-n", "x", "--nope", "word"}, "", kUnexpected, "", on_line("--nope") + on_line("word"), ""},
        {{"-n", "x", "--cou", "5"}, "", 0, "", "", ""},
        {{"-n", "x", "--count", "abc"}, "", kFaulty, faulty, "", "abc"},
        // The value looks like a placeholder of the message.
        {{"-n", "x", "--count", "%value%"}, "", kFaulty, faulty, "", "\\x25value\\x25"},
        {{"-n", "x", "--count"}, "", kFaulty, faulty, "", "--count"},
        {{"-n", "x", "-d"}, "", kFaulty, faulty, "", "--data_path"},
        {{"-n", "x", "-f", "--fast"}, "", kFaulty, faulty, "", "--fast"},
        {{"-n", "x"}, "fast=1\n", kUnexpected, "", in_file("fast") + in_file("1"), ""},
        {{"-n", "x"}, "# comment\ntheirs=1\n", 0, "", "", ""},
        {{"-f"}, "\xEF\xBB\xBFname=x\n", 0, "", "", ""},  // Starts with a byte order mark.
        {{"-n", "x"}, "\xEF\xBBname=x\n", kUnexpected, "", in_file("\xEF\xBBname") + in_file("x"), ""},
        {{"-n", "x"}, "[broken\n", ParseStatus::ParseError, broken_file, "", "[broken"},
        {{"-n", "x", "-v"}, "", kVersion, "", version, ""},
        // A request before a fault is still answered.
        {{"-v", "--count", "5%"}, "", kFaulty | kVersion, faulty, version, "5%"},
    };
    for (const auto& [arguments, config, status, error, info, repeated] : cases) {
        SCOPED_TRACE(testing::PrintToString(arguments) + config);
        TestedParameters parameters;
        EXPECT_EQ(parameters.status, ParseStatus::NotParsed);
        std::istringstream stream(config);
        EXPECT_EQ(parameters.Run(arguments, &stream), status);
        EXPECT_EQ(WithoutLibraryWords(parameters.error_text, repeated), error);
        EXPECT_EQ(parameters.info_text, info);
    }
}

TEST(Parameters, TheConfigurationFileIsFoundByNameFolderOrDefault) {
    const Tests::TemporaryFolder folder;
    const auto settings = folder.Write("settings.cfg", "count=9\n");
    const auto none = folder.Path("none.cfg");
    const auto missing = [](const std::string& path) { return "Config file: " + path + " does not exist!\n"; };
    const std::string unreadable = "Error reading config file: '...'.\n";
    const std::string twice = "Error parsing command line: '...'.\n";
    // Arguments, default name, error, and the values of the options `config` and `count`.
    const std::tuple<Arguments, std::string, std::string, std::string, int> cases[] = {
        {{"-d", folder.Path(""), "--config", "settings.cfg"}, "", "", "settings.cfg", 9},
        {{"-c", settings}, "", "", settings, 9},
        {{"-d", folder.Path(""), "--only", "x"}, "settings.cfg", "", "settings.cfg", 9},
        {{"-c", "/none.cfg", "-c", settings}, "", twice, "", 9},
        {{"-c", none}, "", missing(none), none, 4},
        {{"-d", folder.Path("x"), "-c", "none.cfg"}, "", missing(folder.Path("x/none.cfg")), "none.cfg", 4},
        {{"-c", folder.Path(".")}, "", unreadable, folder.Path("."), 4},
    };
    for (const auto& [arguments, default_name, error, config, count] : cases) {
        TestedParameters parameters;
        parameters.default_config_name = default_name;
        parameters.Run(arguments);
        EXPECT_EQ(parameters.count, count) << error;
        EXPECT_EQ(parameters.config, config) << error;
        const auto repeated = error == unreadable ? folder.Path(".") : "config";
        EXPECT_EQ(WithoutLibraryWords(parameters.error_text, error == unreadable || error == twice ? repeated : ""),
                  error + "Missing required option 'name'.\n");
    }
}

TEST(Parameters, TheDefaultDataFolderIsBesideTheProgramsFolder) {
    const auto beside = std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() / "data";
    const auto data_path = [](const Arguments& arguments, const std::string& data_override) {
        TestedParameters parameters;
        parameters.Run(arguments, nullptr, "", data_override);
        return parameters.data_path;
    };
    EXPECT_EQ(data_path({"-n", "x"}, ""), beside);
    TestedParameters without_arguments;
    EXPECT_EQ(without_arguments.Parse(nullptr, "", 0, nullptr, ""), ParseStatus::MissingOption);
    EXPECT_EQ(without_arguments.data_path, beside);
    EXPECT_EQ(data_path({"-n", "x"}, "models"), beside / "models");
    EXPECT_EQ(data_path({"-d", "/given", "-n", "x"}, "models"), "/given");
    EXPECT_EQ(data_path({"--data_path", "/given", "-n", "x"}, ""), "/given");
}

TEST(Parameters, WrittenParametersCanBeReadBack) {
    const Tests::TemporaryFolder folder;
    const auto path = folder.Path("listing");
    TestedParameters written;
    written.Run({"-n", "some name", "--count", "-3", "-f"});
    written.ratio = 0.1F;
    const std::string in_file = "name\t\t=\tsome name\ncount\t\t=\t-3\nratio\t\t=\t0.1\n";
    written.WriteParameters(path, {}, true);
    EXPECT_EQ(Tests::ReadAll(path), in_file + "fast\t\t=\t1\nonly\t\t=\t\n");
    written.WriteParameters(path, {"first", "second"}, false);
    EXPECT_EQ(Tests::ReadAll(path), "# first\n# second\n\n\n" + in_file);

    TestedParameters read;
    EXPECT_EQ(read.Run({"-f"}, nullptr, path), 0U);
    read.WriteParameters(path, {}, false);
    EXPECT_EQ(Tests::ReadAll(path), in_file);

    const Tests::CapturedLog log;
    read.WriteParameters("/dev/full", {}, false);
    EXPECT_EQ(log.Of("error"), Tests::Lines{"Could not write parameters to /dev/full: No space left on device"});
    TestedParameters lost;  // A path from the program itself is opened without a check that it exists.
    EXPECT_EQ(lost.Run({"-n", "x"}, nullptr, "/no"), ParseStatus::ConfigReadError);
    EXPECT_EQ(WithoutLibraryWords(lost.error_text, "'/no'"), "Error reading config file: '...'.\n");
}

TEST(Parameters, InvalidRegistrationsThrow) {
    TestedParameters parameters;
    int number = 0;
    bool flag = false;
    EXPECT_EQ(Tests::ErrorOf([&] { parameters.AddOption("a", "", &number, OptionFlags::Flag); }),
              "Flag options must have a storage type of bool.");
    EXPECT_EQ(
        Tests::ErrorOf([&] { parameters.AddOption("b", "", &flag, OptionFlags::Flag | OptionFlags::ConfigFile); }),
        "Flag options cannot also be configuration options.");
}

}  // namespace
