#pragma once

#include <functional>
#include <iosfwd>
#include <map>
#include <string>
#include <vector>

#include <boost/program_options/options_description.hpp>

#include "common/option_flags.h"

namespace boost::program_options {
template <class charT>
class basic_parsed_options;
class variables_map;
}  // namespace boost::program_options

namespace Common {

/// Base class of everything configured by options: registers each option with the member it fills, and reads a
/// configuration file and a command line into those members. Not thread-safe.
class Parameters {
public:
    // The order of the virtual functions is fixed. Derived classes continue it.

    /// Registers the options; Parse calls it first.
    virtual void DeclareOptions() = 0;
    virtual ~Parameters();
    /// True if the values make sense together.
    virtual bool ValidateParams() = 0;
    /// Writes the names and values of the registered options to `path` in the format of a configuration file, with
    /// `header_lines` as comments at the top. Options that a configuration file cannot set are written only if `all` is
    /// true; when Parse reads the file, it reports these options as unexpected. It reads the other values back, unless
    /// they contain "#" or a line feed, or begin or end with white space. Logs an error if the file cannot be written.
    virtual void WriteParameters(const std::string& path, const std::vector<std::string>& header_lines, bool all);

    Parameters(const Parameters&) = delete;
    Parameters& operator=(const Parameters&) = delete;

    /// Registers an option that fills `storage`, which must live as long as this object. There are no defaults: a
    /// member that no source sets keeps its value. `name` is the long name, optionally followed by a comma and a
    /// letter. If `flags` has none of CommandLine, ConfigFile and Flag, both sources accept the option. T is bool, int,
    /// float or std::string. Throws std::runtime_error for a Flag whose storage is not a bool and for a Flag with
    /// ConfigFile.
    template <typename T>
    void AddOption(const std::string& name, const std::string& description, T* storage, unsigned flags);

    /// Ignores the key `name` in configuration files, because the key belongs to another application.
    void AddIgnoredOption(const std::string& name);

    /// Reads the configuration file (from `config_stream`, else from `config_path`, else from the path that follows
    /// "--config" or "-c", else from the default one), then the command line, which takes precedence. If the path
    /// after "--config" or "-c", or the default one, has no folder, the file is in the data folder. Returns ParseStatus
    /// bits, also stored in `status`, and collects messages in `error_text` and `info_text`. Never prints, and never
    /// throws for user input. `data_path_override` is appended to the default data folder, which is the folder "data"
    /// beside the folder of the executable. "--data_path" or "-d" replaces the default and the override, and so does a
    /// value already in `data_path`.
    unsigned Parse(std::istream* config_stream, const std::string& config_path, int argc, char** argv,
                   const std::string& data_path_override);

protected:
    Parameters();

private:
    using ParsedOptions = boost::program_options::basic_parsed_options<char>;

    /// What WriteParameters needs to know about a registered option.
    struct OptionRecord {
        bool in_config_file;
    };

    void AddCommonOptions();
    void FindDataPath(int argc, char** argv, const std::string& data_path_override);
    std::string FindConfigPath(int argc, char** argv);
    void ReadConfigSource(std::istream* config_stream, const std::string& config_path, int argc, char** argv);
    void ReadConfigStream(std::istream& stream);
    void ReadCommandLine(int argc, char** argv);
    void Store(const ParsedOptions& parsed, const std::string& place, boost::program_options::variables_map& values);
    void Contain(const std::string& source, const std::function<void()>& work);
    void ReportMissingOptions();

    boost::program_options::options_description command_line_options;
    boost::program_options::options_description config_file_options;
    std::map<std::string, bool> required_options;  // Maps each option to whether it has been seen.
    std::map<std::string, std::function<std::string()>> value_renderers;
    std::map<std::string, OptionRecord> option_records;
    std::vector<std::string> registered_names;

protected:
    std::string default_config_name;  ///< File to read if no configuration file is named; empty: no file.
    std::string usage_text;           ///< Precedes the option list in the help text.
    unsigned status = ParseStatus::NotParsed;
    std::string error_text;  ///< One line per error.
    std::string info_text;   ///< Warnings, the version notice and the help text.
    std::string config;      ///< Value of the option `config` or its default.
    std::string data_path;   ///< Folder of data files; value of the option `data_path` or its default.

private:
    bool help_given = false;
    bool version_given = false;
};

extern template void Parameters::AddOption(const std::string&, const std::string&, bool*, unsigned);
extern template void Parameters::AddOption(const std::string&, const std::string&, int*, unsigned);
extern template void Parameters::AddOption(const std::string&, const std::string&, float*, unsigned);
extern template void Parameters::AddOption(const std::string&, const std::string&, std::string*, unsigned);

}  // namespace Common
