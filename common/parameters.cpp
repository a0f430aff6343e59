#include "common/parameters.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <type_traits>

#include <boost/algorithm/string/replace.hpp>
#include <boost/filesystem/operations.hpp>
#include <boost/program_options/errors.hpp>
#include <boost/program_options/parsers.hpp>
#include <boost/program_options/value_semantic.hpp>
#include <boost/program_options/variables_map.hpp>

#include "common/logging/record.h"

namespace Common {

namespace po = boost::program_options;
namespace fs = boost::filesystem;

namespace {

constexpr char kCommandLinePlace[] = "on command line";
constexpr char kConfigFilePlace[] = "in configuration file";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

std::string Key(const std::string& name) {
    return name.substr(0, name.find(','));
}

std::string Render(bool value) {
    return value ? "1" : "0";
}
std::string Render(int value) {
    return std::to_string(value);
}
std::string Render(const std::string& value) {
    return value;
}
// The shortest text that reads back as the same number.
std::string Render(float value) {
    char text[32];
    return {text, std::to_chars(std::begin(text), std::end(text), value).ptr};
}

// Returns the argument that follows an option on the command line; empty if there is none. If the option is repeated,
// its last use counts.
std::string ValueAfter(int argc, char** argv, const std::string& long_form, const std::string& short_form) {
    std::string value;
    for (int i = 1; argv != nullptr && i + 1 < argc; ++i) {
        if (argv[i] == long_form || argv[i] == short_form) {
            value = argv[i + 1];
        }
    }
    return value;
}

// Some editors write a byte order mark before UTF-8 text. The mark must not become part of the first key.
void SkipByteOrderMark(std::istream& stream) {
    std::size_t taken = 0;
    while (taken < kByteOrderMark.size() && stream.peek() == static_cast<unsigned char>(kByteOrderMark[taken])) {
        stream.get();
        ++taken;
    }
    for (; taken != 0 && taken != kByteOrderMark.size(); --taken) {
        stream.unget();
    }
}

// Boost.Program_options replaces the placeholders of a message, such as "%value%", until none is left. If the value
// itself contains the placeholder, that loop never ends. In a value with several percent signs, these are therefore
// shown in hexadecimal.
class PlaceholderGuard : public po::error_with_option_name {
public:
    static void Disarm(po::error_with_option_name& error) {
        const auto texts = error.*&PlaceholderGuard::m_substitutions;
        for (const auto& [name, text] : texts) {
            if (std::count(text.begin(), text.end(), '%') > 1) {
                error.set_substitute(name, boost::replace_all_copy(text, "%", "\\x25"));
            }
        }
    }
};

}  // namespace

Parameters::Parameters()
    : command_line_options("Command line parameters", po::options_description::m_default_line_length,
                           po::options_description::m_default_line_length / 2),
      config_file_options("Configuration file parameters.", po::options_description::m_default_line_length,
                          po::options_description::m_default_line_length / 2) {}

Parameters::~Parameters() = default;

template <typename T>
void Parameters::AddOption(const std::string& name, const std::string& description, T* storage, unsigned flags) {
    if ((flags & OptionFlags::Flag) != 0) {
        if (!std::is_same_v<T, bool>) {
            throw std::runtime_error("Flag options must have a storage type of bool.");
        }
        if ((flags & OptionFlags::ConfigFile) != 0) {
            throw std::runtime_error("Flag options cannot also be configuration options.");
        }
        flags |= OptionFlags::CommandLine;
    }
    if ((flags & (OptionFlags::CommandLine | OptionFlags::ConfigFile)) == 0) {
        flags |= OptionFlags::CommandLine | OptionFlags::ConfigFile;
    }

    const auto key = Key(name);
    if ((flags & OptionFlags::Required) != 0) {
        required_options[key] = false;
    }
    const bool in_config_file = (flags & OptionFlags::ConfigFile) != 0;
    if (in_config_file) {
        config_file_options.add_options()(name.c_str(), po::value<T>(storage), description.c_str());
    }
    if ((flags & OptionFlags::CommandLine) != 0) {
        const po::value_semantic* semantic = nullptr;
        if constexpr (std::is_same_v<T, bool>) {
            // Not bool_switch, whose default (false) overwrites the member. With zero_tokens, the switch means true.
            semantic =
                (flags & OptionFlags::Flag) != 0 ? po::value<bool>(storage)->zero_tokens() : po::value<bool>(storage);
        } else {
            semantic = po::value<T>(storage);
        }
        command_line_options.add_options()(name.c_str(), semantic, description.c_str());
    }
    registered_names.push_back(key);
    value_renderers[key] = [storage] { return Render(*storage); };
    option_records[key] = {in_config_file};
}

template void Parameters::AddOption(const std::string&, const std::string&, bool*, unsigned);
template void Parameters::AddOption(const std::string&, const std::string&, int*, unsigned);
template void Parameters::AddOption(const std::string&, const std::string&, float*, unsigned);
template void Parameters::AddOption(const std::string&, const std::string&, std::string*, unsigned);

void Parameters::AddIgnoredOption(const std::string& name) {
    config_file_options.add_options()(name.c_str(), po::value<std::string>(),
                                      "Allowed, but ignored by this application.");
}

unsigned Parameters::Parse(std::istream* config_stream, const std::string& config_path, int argc, char** argv,
                           const std::string& data_path_override) {
    status &= ~ParseStatus::NotParsed;
    DeclareOptions();
    AddCommonOptions();
    FindDataPath(argc, argv, data_path_override);
    ReadConfigSource(config_stream, config_path, argc, argv);
    if (argc != 0 && argv != nullptr) {
        ReadCommandLine(argc, argv);
    }
    if (version_given) {
        info_text += "Version requested.\n";
        status |= ParseStatus::VersionRequested;
    }
    if (help_given || argc == 1) {
        std::ostringstream catalogue;
        catalogue << command_line_options;
        info_text += usage_text + catalogue.str();
        status |= ParseStatus::HelpRequested;
    }
    ReportMissingOptions();
    return status;
}

void Parameters::AddCommonOptions() {
    command_line_options.add_options()("help,h", "produce help message");
    command_line_options.add_options()("version,v", "print version number");
    command_line_options.add_options()("config,c", po::value<std::string>(&config), "Config file to use");
    command_line_options.add_options()("data_path,d", po::value<std::string>(&data_path),
                                       "Path to use for loading any data files the application requires.");
}

// Finds the data folder before anything is parsed, because the configuration file may be in that folder.
void Parameters::FindDataPath(int argc, char** argv, const std::string& data_path_override) {
    if (const auto given = ValueAfter(argc, argv, "--data_path", "-d"); !given.empty()) {
        data_path = given;
    }
    if (!data_path.empty()) {
        return;
    }
    boost::system::error_code ignored;  // Without /proc there is no useful default.
    const auto executable = fs::read_symlink("/proc/self/exe", ignored);
    auto folder = executable.parent_path().parent_path() / "data";
    if (!data_path_override.empty()) {
        folder /= data_path_override;
    }
    data_path = folder.string();
}

std::string Parameters::FindConfigPath(int argc, char** argv) {
    auto path = ValueAfter(argc, argv, "--config", "-c");
    if (path.empty() && !default_config_name.empty()) {
        path = default_config_name;
        config = path;
    }
    if (!path.empty() && !fs::path(path).has_parent_path()) {
        path = (fs::path(data_path) / path).string();
    }
    return path;
}

void Parameters::ReadConfigSource(std::istream* config_stream, const std::string& config_path, int argc, char** argv) {
    if (config_stream != nullptr) {
        ReadConfigStream(*config_stream);
        return;
    }
    auto path = config_path;
    if (path.empty()) {
        path = FindConfigPath(argc, argv);
        if (path.empty()) {
            return;
        }
        boost::system::error_code unknown;
        if (!fs::exists(path, unknown)) {
            error_text += "Config file: " + path + " does not exist!\n";
            status |= ParseStatus::MissingOption;
            return;
        }
    }
    Contain("config file", [&] {
        std::ifstream stream(path);
        if (!stream || fs::is_directory(path)) {
            throw po::reading_file(path.c_str());
        }
        ReadConfigStream(stream);
    });
}

void Parameters::ReadConfigStream(std::istream& stream) {
    Contain("config file", [&] {
        SkipByteOrderMark(stream);
        po::variables_map values;
        Store(po::parse_config_file(stream, config_file_options, true), kConfigFilePlace, values);
    });
}

void Parameters::ReadCommandLine(int argc, char** argv) {
    // Declared outside Contain, so that a request for help still counts if a later value is invalid.
    po::variables_map values;
    Contain("command line", [&] {
        const auto parsed =
            po::command_line_parser(argc, argv).options(command_line_options).allow_unregistered().run();
        Store(parsed, kCommandLinePlace, values);
    });
    help_given = values.count("help") != 0;
    version_given = values.count("version") != 0;
}

void Parameters::Store(const ParsedOptions& parsed, const std::string& place, po::variables_map& values) {
    po::store(parsed, values);
    for (auto& [key, seen] : required_options) {
        seen = seen || values.count(key) != 0;
    }
    po::notify(values);
    for (const auto& token : po::collect_unrecognized(parsed.options, po::include_positional)) {
        info_text.append("Unexpected option '").append(token).append("' found ").append(place).append(".\n");
        status |= ParseStatus::UnexpectedOption;
    }
}

// Runs `work` and turns its exceptions into an error line and a status bit.
void Parameters::Contain(const std::string& source, const std::function<void()>& work) {
    const auto report = [&](const char* doing, const std::exception& error, unsigned bit) {
        error_text.append("Error ").append(doing).append(" ").append(source).append(": '");
        error_text.append(error.what()).append("'.\n");
        status |= bit;
    };
    try {
        work();
    } catch (const po::reading_file& error) {
        report("reading", error, ParseStatus::ConfigReadError);
    } catch (po::error_with_option_name& error) {
        PlaceholderGuard::Disarm(error);
        report("parsing", error, ParseStatus::ParseError);
    } catch (const po::error& error) {
        report("parsing", error, ParseStatus::ParseError);
    } catch (const std::exception& error) {
        report("processing", error, ParseStatus::ProcessingError);
    }
}

void Parameters::ReportMissingOptions() {
    for (const auto& [key, seen] : required_options) {
        if (!seen) {
            error_text += "Missing required option '" + key + "'.\n";
            status |= ParseStatus::MissingOption;
        }
    }
}

void Parameters::WriteParameters(const std::string& path, const std::vector<std::string>& header_lines, bool all) {
    errno = 0;
    std::ofstream stream(path, std::ios_base::trunc);
    if (!header_lines.empty()) {
        for (const auto& line : header_lines) {
            stream << "# " << line << '\n';
        }
        stream << "\n\n";
    }
    for (const auto& name : registered_names) {
        if (all || option_records.at(name).in_config_file) {
            stream << name << "\t\t=\t" << value_renderers.at(name)() << '\n';
        }
    }
    stream.flush();
    if (!stream) {
        TAVIK_LOG(error) << "Could not write parameters to " << path << ": " << std::generic_category().message(errno);
    }
}

}  // namespace Common
