#pragma once

#include <fstream>
#include <string>

#include <boost/filesystem/path.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>

namespace Common::logging {

/// Writes log lines to a file, which is opened when the first line arrives. Unlike Boost.Log's file backend, it reports
/// the first failure on standard error, with the path and the system's reason. It then drops all later lines, because
/// a full disk must not end a run. The sink that owns the backend serialises calls.
class LogFileBackend : public boost::log::sinks::basic_formatted_sink_backend<char> {
public:
    /// `name`: the start of the file name, followed by "_log-<date>_<time>.log" with the time at which the file is
    /// opened. A relative folder is resolved against the current folder at construction, because starting an external
    /// aligner changes the current folder. Lines are appended to an existing file: another run may have opened it in
    /// the same second.
    LogFileBackend(const boost::filesystem::path& folder, const std::string& name, bool auto_flush);

    void consume(const boost::log::record_view& record, const string_type& line);

private:
    void Open();
    void Report(const char* what);

    const boost::filesystem::path folder;
    boost::filesystem::path start;  // The current folder at construction; empty if unknown.
    const std::string pattern;
    const bool auto_flush;
    std::string path;
    std::ofstream stream;
    bool opened = false;
};

}  // namespace Common::logging
