#pragma once

#include <array>
#include <memory>
#include <mutex>
#include <string>

#include <boost/filesystem/path.hpp>
#include <boost/log/sinks/sink.hpp>
#include <boost/smart_ptr/shared_ptr.hpp>

#include "common/logging/accepted_severities.h"
#include "common/logging/sink_options.h"

namespace Common::logging {

/// A deleter that does nothing: sinks hold the standard streams in shared pointers but do not own them.
struct null_deleter {
    template <typename T>
    void operator()(T* /*object*/) const noexcept {}
};

/// Creates the process-wide group, without sinks, unless it exists. Switches logging off until InitLogging, also for
/// foreign sinks (see SetForeignSeverities), so that nothing is written before the user's options are known.
void Prepare();

/// Replaces the process-wide group with one for these channels, installs its sinks and switches logging on. The log
/// files go to the current folder unless LoggerGroup::SetFolder names another one. Each file is created by its first
/// record, so nothing is written to the current folder if SetFolder is called before anything is logged. No other
/// thread may log during the call.
void InitLogging(const std::string& channel, const std::string& verbose_channel, bool quiet, bool verbose_logs,
                 const std::string& trace_categories);

/// True if records of severity `verbose`, the default severity of the global logger, are made.
bool AcceptsDefaultSeverity();

/// Owns and replaces the sinks of the four loggers. Any thread may call its functions; each sink serialises its
/// records. Several groups may exist, each with its own sinks. Every sink receives the records of the whole process.
class LoggerGroup {
public:
    LoggerGroup(const std::string& channel, const std::string& verbose_channel);
    LoggerGroup(const LoggerGroup&) = delete;
    LoggerGroup& operator=(const LoggerGroup&) = delete;
    /// Removes the sinks.
    ~LoggerGroup();

    /// The process-wide group. The first call creates it, for the channels "core" and "core_verbose", unless
    /// InitLogging has created it.
    static LoggerGroup& Instance();

    /// Replaces the sink of a console logger, or only removes it if `options.enabled` is false. For a file logger, logs
    /// an error and changes nothing.
    void updateStreamSink(Loggers logger, SinkOptions&& options);

    /// Replaces the sink of a file logger, or only removes it if `options.enabled` is false. The new sink writes to
    /// "<name>_log-<date>_<time>.log" in `folder` (empty: the current folder at this call). This call creates the
    /// folder; the first record creates the file. For a console logger, logs an error and changes nothing.
    void updateFileSink(Loggers logger, const boost::filesystem::path& folder, const std::string& name,
                        SinkOptions&& options);

    /// From this call on, the log files go to `folder` (empty: the current folder at this call). They are named after
    /// the channels and have the options given to InitLogging. Log files already created in other folders stay there.
    void SetFolder(const boost::filesystem::path& folder);

    /// The channel of records with this severity.
    const std::string& ChannelOf(Severity severity) const {
        return severity <= Severity::verbose ? verbose_channel : channel;
    }

private:
    friend void InitLogging(const std::string&, const std::string&, bool, bool, const std::string&);

    using Sink = boost::shared_ptr<boost::log::sinks::sink>;

    void Install(Loggers logger, const Sink& sink, const SinkOptions& options);
    SeverityBits AcceptedSeverities() const;

    std::mutex mutex;  // Guards the members from `sinks` to `file_options`.
    std::array<Sink, kLoggerCount> sinks;
    std::array<SinkOptions, kLoggerCount> installed;
    std::array<SinkOptions, kLoggerCount> file_options;  // Options of the sinks that SetFolder installs.
    const std::string channel;
    const std::string verbose_channel;
};

}  // namespace Common::logging
