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

/// The base of everything that is steered by options: registers them with the members they fill, and reads a
/// configuration file and a command line into those members. Used by one thread.
class Parameters {
public:
    // The order of the virtual operations is fixed: derived classes continue it.

    /// Registers the options; called by Parse before anything else.
    virtual void DeclareOptions() = 0;
    virtual ~Parameters();
    /// True when the values make sense together.
    virtual bool ValidateParams() = 0;
    /// Writes name and value of the registered options to `path`, in a form that can be read back as a
    /// configuration file, with `header_lines` as comments on top; command-line options only if `all`.
    virtual void WriteParameters(const std::string& path, const std::vector<std::string>& header_lines, bool all);

    Parameters(const Parameters&) = delete;
    Parameters& operator=(const Parameters&) = delete;

    /// Registers an option that fills `storage`, which must outlive this object; there are no defaults, a
    /// member that no source names keeps its value. `name` is the long name, or long name, comma and a
    /// letter. Without CommandLine and ConfigFile in `flags` (OptionFlags) it is accepted in both. For bool,
    /// int, float and std::string. Throws std::runtime_error for a Flag whose storage is no bool and for a
    /// Flag that is to be a configuration option too.
    template <typename T>
    void AddOption(const std::string& name, const std::string& description, T* storage, unsigned flags);

    /// Lets a configuration file carry the key `name` for other applications.
    void AddIgnoredOption(const std::string& name);

    /// Reads the configuration file (from `config_stream`, else from `config_path`, else from the file named
    /// by "--config" or "-c", else from the default one), then the command line, which wins. Returns ParseStatus
    /// bits, also kept in `status`, and collects messages in `error_text` and `info_text`; never prints,
    /// never throws for what a user typed. `data_path_override` is appended to the default data folder, which
    /// is the folder "data" beside the executable's own; "--data_path" or "-d" replaces both.
    unsigned Parse(std::istream* config_stream, const std::string& config_path, int argc, char** argv,
                   const std::string& data_path_override);

protected:
    Parameters();

private:
    using ParsedOptions = boost::program_options::basic_parsed_options<char>;

    /// The second record of a registration, for WriteParameters.
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
    std::map<std::string, bool> required_options;  // Whether each has been seen.
    std::map<std::string, std::function<std::string()>> value_renderers;
    std::map<std::string, OptionRecord> option_records;
    std::vector<std::string> registered_names;

protected:
    std::string default_config_name;  ///< Read when no configuration file is named; none when empty.
    std::string usage_text;           ///< In front of the option list in the help text.
    unsigned status = ParseStatus::NotParsed;
    std::string error_text;  ///< One line per error.
    std::string info_text;   ///< Warnings, the version notice and the help text.
    std::string config;      ///< Value of the option `config`.
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
