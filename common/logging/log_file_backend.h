#pragma once

#include <fstream>
#include <string>

#include <boost/filesystem/path.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>

namespace Common::logging {

/// Writes log lines to a file, which the first line opens. Boost.Log's own file backend does not tell when a line
/// could not be written. This one reports the first failure on standard error, with the path and the system's
/// reason, and drops all later lines: a full disk must not end a run. The sink in front of it serialises calls.
class LogFileBackend : public boost::log::sinks::basic_formatted_sink_backend<char> {
public:
    /// `name`: the caller's part of the file name, in front of "_log-<date>_<time>.log". The time is that of the
    /// opening. A relative folder counts from the folder that is the current one now: starting an external aligner
    /// changes it. Lines are appended to an existing file, which another run has opened in the same second.
    LogFileBackend(const boost::filesystem::path& folder, const std::string& name, bool auto_flush);

    void consume(const boost::log::record_view& record, const string_type& line);

private:
    void Open();
    void Report(const char* what);

    const boost::filesystem::path folder;
    boost::filesystem::path start;  // What a relative folder counts from; empty where the system does not tell.
    const std::string pattern;
    const bool auto_flush;
    std::string path;
    std::ofstream stream;
    bool opened = false;
};

}  // namespace Common::logging
