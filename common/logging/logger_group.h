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

/// A deleter that does nothing, for the standard streams: sinks share them, nobody owns them.
struct null_deleter {
    template <typename T>
    void operator()(T* /*object*/) const noexcept {}
};

/// Makes sure that the process-wide group exists, without sinks, and switches logging off: nothing is written
/// before the user's switches are known. Foreign sinks on Boost.Log's core get nothing until InitLogging, and then
/// the records that SetForeignSeverities describes.
void Prepare();

/// Replaces the process-wide group by one for these channels, installs its sinks and switches logging on. The log files
/// lie in the current folder unless LoggerGroup::SetFolder names another one. Each begins with its first record, so
/// none is left behind here when SetFolder is called before anything is logged. No other thread may log during the
/// call.
void InitLogging(const std::string& channel, const std::string& verbose_channel, bool quiet, bool verbose_logs,
                 const std::string& trace_categories);

/// True when some sink takes records of `verbose`, which is the global logger's default severity and that of the
/// records made per read.
bool AcceptsDefaultSeverity();

/// Holds the sinks of the four loggers and replaces them. Any thread; the sinks' own records are serialised.
/// There may be several groups: each has sinks of its own, all of which get the records of the whole process.
class LoggerGroup {
public:
    LoggerGroup(const std::string& channel, const std::string& verbose_channel);
    LoggerGroup(const LoggerGroup&) = delete;
    LoggerGroup& operator=(const LoggerGroup&) = delete;
    /// Removes the sinks.
    ~LoggerGroup();

    /// The process-wide group, which Prepare makes; made on first use for the channels "core" and
    /// "core_verbose".
    static LoggerGroup& Instance();

    /// Replaces the sink of a console logger; without one when the options are not enabled. For a file logger
    /// an error is logged and nothing changes.
    void updateStreamSink(Loggers logger, SinkOptions&& options);

    /// Replaces the sink of a file logger by one that writes to "<name>_log-<date>_<time>.log" in `folder`, an empty
    /// path being the folder that is the current one now; the folder is made here, the file is opened by its first
    /// record. For a console logger an error is logged and nothing changes.
    void updateFileSink(Loggers logger, const boost::filesystem::path& folder, const std::string& name,
                        SinkOptions&& options);

    /// Puts the log files into `folder`, named after the channels, as the options given to InitLogging say. An empty
    /// path is the current folder. Files that have begun elsewhere stay there.
    void SetFolder(const boost::filesystem::path& folder);

    /// The channel that records of a severity go out with.
    const std::string& ChannelOf(Severity severity) const {
        return severity <= Severity::verbose ? verbose_channel : channel;
    }

private:
    friend void InitLogging(const std::string&, const std::string&, bool, bool, const std::string&);

    using Sink = boost::shared_ptr<boost::log::sinks::sink>;

    void Install(Loggers logger, const Sink& sink, const SinkOptions& options);
    SeverityBits AcceptedSeverities() const;

    std::mutex mutex;  // Guards the members from `sinks` on.
    std::array<Sink, kLoggerCount> sinks;
    std::array<SinkOptions, kLoggerCount> installed;
    std::array<SinkOptions, kLoggerCount> file_options;  // What SetFolder is to install.
    boost::filesystem::path folder;
    const std::string channel;
    const std::string verbose_channel;
};

}  // namespace Common::logging
