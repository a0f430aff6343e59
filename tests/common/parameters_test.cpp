#include "common/parameters.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include <gtest/gtest.h>

#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"

namespace {

using Common::OptionFlags;
using Common::ParseStatus;

class TestedParameters : public Common::Parameters {
public:
    void DeclareOptions() override {
        AddOption("name,n", "A required text.", &name, OptionFlags::Required);
        AddOption("count", "A number.", &count, OptionFlags::CommandLine | OptionFlags::ConfigFile);
        AddOption("ratio", "A ratio.", &ratio, OptionFlags::ConfigFile);
        AddOption("fast,f", "A switch.", &fast, OptionFlags::Flag);
        AddOption("only", "Command line alone.", &only, OptionFlags::CommandLine);
        AddIgnoredOption("theirs");
    }
    bool ValidateParams() override { return true; }

    unsigned Run(std::vector<std::string> arguments, std::istream* stream = nullptr, const std::string& path = "",
                 const std::string& data_override = "") {
        arguments.insert(arguments.begin(), "program");
        std::vector<char*> argv;
        for (auto& argument : arguments) {
            argv.push_back(argument.data());
        }
        return Parse(stream, path, static_cast<int>(argv.size()), argv.data(), data_override);
    }

    using Parameters::AddOption;
    using Parameters::config;
    using Parameters::data_path;
    using Parameters::default_config_name;
    using Parameters::error_text;
    using Parameters::info_text;
    using Parameters::status;
    std::string name = "none";
    int count = 4;
    float ratio = 0.6F;
    bool fast = false;
    std::string only;
};

TEST(Parameters, EveryFaultHasItsTextAndItsBit) {
    const std::string missing_name = "Missing required option 'name'.\n";
    const struct {
        const char* what;
        std::vector<std::string> arguments;
        const char* config;
        unsigned status;
        std::string error, info;
    } cases[] = {
        {"good", {"-n", "x", "--count=5", "-f"}, nullptr, 0, "", ""},
        {"required missing", {"--count", "5"}, nullptr, ParseStatus::MissingOption, missing_name, ""},
        {"required in the file", {"--count", "5"}, "name=x\n", 0, "", ""},
        {"unknown and positional words",
         {"-n", "x", "--nope", "word"},
         nullptr,
         ParseStatus::UnexpectedOption,
         "",
         "Unexpected option '--nope' found on command line.\nUnexpected option 'word' found on command "
         "line.\n"},
        {"an unambiguous beginning of a name", {"-n", "x", "--cou", "5"}, nullptr, 0, "", ""},
        {"no number",
         {"-n", "x", "--count", "abc"},
         nullptr,
         ParseStatus::ParseError | ParseStatus::MissingOption,
         "Error parsing command line: 'the argument ('abc') for option '--count' is invalid'.\n" + missing_name,
         ""},
        {"a value that looks like a placeholder",
         {"-n", "x", "--count", "%value%"},
         nullptr,
         ParseStatus::ParseError | ParseStatus::MissingOption,
         "Error parsing command line: 'the argument ('\\x25value\\x25') for option '--count' is invalid'.\n" +
             missing_name,
         ""},
        {"value missing",
         {"-n", "x", "--count"},
         nullptr,
         ParseStatus::ParseError | ParseStatus::MissingOption,
         "Error parsing command line: 'the required argument for option '--count' is missing'.\n" + missing_name,
         ""},
        {"data path as the last word",
         {"-n", "x", "-d"},
         nullptr,
         ParseStatus::ParseError | ParseStatus::MissingOption,
         "Error parsing command line: 'the required argument for option '--data_path' is missing'.\n" + missing_name,
         ""},
        {"flag in the file",
         {"-n", "x"},
         "fast=1\n",
         ParseStatus::UnexpectedOption,
         "",
         "Unexpected option 'fast' found in configuration file.\nUnexpected option '1' found in "
         "configuration file.\n"},
        {"ignored option in the file", {"-n", "x"}, "# comment\ntheirs=1\n", 0, "", ""},
        {"bad file, good command line",
         {"-n", "x"},
         "[broken\n",
         ParseStatus::ParseError,
         "Error parsing config file: 'the options configuration file contains an invalid line '[broken''.\n",
         ""},
        {"version", {"-n", "x", "-v"}, nullptr, ParseStatus::VersionRequested, "", "Version requested.\n"},
    };
    for (const auto& c : cases) {
        TestedParameters parameters;
        EXPECT_EQ(parameters.status, ParseStatus::NotParsed);
        std::istringstream stream(c.config != nullptr ? c.config : "");
        EXPECT_EQ(parameters.Run(c.arguments, c.config != nullptr ? &stream : nullptr), c.status) << c.what;
        EXPECT_EQ(parameters.error_text, c.error) << c.what;
        EXPECT_EQ(parameters.info_text, c.info) << c.what;
    }
}

TEST(Parameters, HelpIsGivenOnRequestAndForAnEmptyCommandLine) {
    for (const auto& arguments : {std::vector<std::string>{}, std::vector<std::string>{"-h"}}) {
        TestedParameters parameters;
        EXPECT_EQ(parameters.Run(arguments), ParseStatus::HelpRequested | ParseStatus::MissingOption);
        EXPECT_NE(parameters.info_text.find("Command line parameters:"), std::string::npos);
        EXPECT_NE(parameters.info_text.find("-f [ --fast ] "), std::string::npos);
        EXPECT_EQ(parameters.info_text.find("ratio"), std::string::npos) << "the file's options are not shown";
    }
}

TEST(Parameters, TheCommandLineWinsOverTheFileAndUnnamedMembersKeepTheirValues) {
    TestedParameters parameters;
    std::istringstream stream("name=file\ncount=7\nratio=0.25\n");
    EXPECT_EQ(parameters.Run({"-n", "line"}, &stream), 0U);
    EXPECT_EQ(parameters.name, "line");
    EXPECT_EQ(parameters.count, 7);
    EXPECT_EQ(parameters.ratio, 0.25F);
    EXPECT_EQ(parameters.only, "");
    EXPECT_FALSE(parameters.fast);
}

TEST(Parameters, TheConfigurationFileIsFoundByNameFolderOrDefault) {
    const Tests::TemporaryFolder folder;
    folder.Write("settings.cfg", "count=9\n");
    const auto missing = [&](const std::string& path) { return "Config file: " + path + " does not exist!\n"; };
    const auto unreadable =
        "Error reading config file: 'can not read options configuration file '" + folder.Path(".") + "''.\n";
    const struct {
        std::vector<std::string> arguments;
        std::string default_name, error, config;
        int count;
    } cases[] = {
        {{"-d", folder.Path(""), "--config", "settings.cfg"}, "", "", "settings.cfg", 9},
        {{"-c", folder.Path("settings.cfg")}, "", "", folder.Path("settings.cfg"), 9},
        {{"-d", folder.Path(""), "--only", "x"}, "settings.cfg", "", "settings.cfg", 9},
        {{"-c", "/none.cfg", "-c", folder.Path("settings.cfg")},
         "",
         "Error parsing command line: 'option '--config' cannot be specified more than once'.\n",
         "",
         9},
        {{"-c", folder.Path("none.cfg")}, "", missing(folder.Path("none.cfg")), folder.Path("none.cfg"), 4},
        {{"-d", folder.Path("x"), "-c", "none.cfg"}, "", missing(folder.Path("x/none.cfg")), "none.cfg", 4},
        {{"-c", folder.Path(".")}, "", unreadable, folder.Path("."), 4},
    };
    for (const auto& c : cases) {
        TestedParameters parameters;
        parameters.default_config_name = c.default_name;
        parameters.Run(c.arguments);
        EXPECT_EQ(parameters.count, c.count) << c.error;
        EXPECT_EQ(parameters.config, c.config) << c.error;
        EXPECT_EQ(parameters.error_text, c.error + "Missing required option 'name'.\n");
    }
}

TEST(Parameters, TheDefaultDataFolderLiesBesideTheProgramsOwn) {
    const auto beside = std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() / "data";
    const struct {
        std::vector<std::string> arguments;
        std::string data_override, expected;
    } cases[] = {
        {{"-n", "x"}, "", beside},
        {{"-n", "x"}, "models", beside / "models"},
        {{"-d", "/given", "-n", "x"}, "models", "/given"},
        {{"--data_path", "/given", "-n", "x"}, "", "/given"},
    };
    for (const auto& c : cases) {
        TestedParameters parameters;
        parameters.Run(c.arguments, nullptr, "", c.data_override);
        EXPECT_EQ(parameters.data_path, c.expected);
    }
}

TEST(Parameters, AWrittenListingReadsBack) {
    const Tests::TemporaryFolder folder;
    const auto path = folder.Path("listing");
    TestedParameters written;
    written.Run({"-n", "some name", "--count", "-3", "-f"});
    written.ratio = 0.1F;
    written.WriteParameters(path, {"first", "second"}, false);
    EXPECT_EQ(Tests::ReadAll(path), "# first\n# second\n\n\nname\t\t=\tsome name\ncount\t\t=\t-3\nratio\t\t=\t0.1\n");

    TestedParameters read;
    EXPECT_EQ(read.Run({"-f"}, nullptr, path), 0U);
    EXPECT_EQ(read.name, "some name");
    EXPECT_EQ(read.count, -3);
    EXPECT_EQ(read.ratio, 0.1F);

    written.WriteParameters(path, {}, true);
    EXPECT_EQ(Tests::ReadAll(path),
              "name\t\t=\tsome name\ncount\t\t=\t-3\nratio\t\t=\t0.1\nfast\t\t=\t1\nonly\t\t=\t\n");
}

TEST(Parameters, WrongRegistrationsThrow) {
    TestedParameters parameters;
    int number = 0;
    bool flag = false;
    EXPECT_THROW(parameters.AddOption("a", "", &number, OptionFlags::Flag), std::runtime_error);
    EXPECT_THROW(parameters.AddOption("b", "", &flag, OptionFlags::Flag | OptionFlags::ConfigFile), std::runtime_error);
}

}  // namespace
