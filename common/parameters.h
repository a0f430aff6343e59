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
    /// Writes the registered options to `path` in the format of a configuration file, with `header_lines` as comments
    /// at the top. Logs an error if the file cannot be written. `all`: whether to include options that a configuration
    /// file cannot set; Parse reports them as unexpected when it reads the file.
    ///
    /// Parse does not read a value back correctly if it contains "#" or a line feed, or begins or ends with white
    /// space.
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

    /// Reads the configuration file, then the command line, which takes precedence. Returns ParseStatus bits, also
    /// stored in `status`, and collects messages in `error_text` and `info_text`. Never prints, and never throws for
    /// user input.
    ///
    /// The configuration file is the first of these that is given:
    /// 1. `config_stream`;
    /// 2. the file `config_path`;
    /// 3. the file after "--config" or "-c", in the data folder if the path has no folder;
    /// 4. the file `default_config_name`, in the data folder if the path has no folder.
    ///
    /// The data folder is the first of these that is given:
    /// 1. the folder after "--data_path" or "-d";
    /// 2. the value that `data_path` has before the call;
    /// 3. the folder "data" beside the folder of the executable, with `data_path_override` appended.
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
    std::map<std::string, bool> required_options;  // Whether each required option has been seen.
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
