#include "common/logging/logger_group.h"

#include <algorithm>
#include <iostream>
#include <utility>

#include <boost/filesystem/operations.hpp>
#include <boost/log/attributes/clock.hpp>
#include <boost/log/attributes/current_thread_id.hpp>
#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/log/sinks/text_ostream_backend.hpp>
#include <boost/make_shared.hpp>

#include "common/logging/accepted_severities.h"
#include "common/logging/log_file_backend.h"
#include "common/logging/log_line.h"
#include "common/logging/record.h"

namespace Common::logging {

namespace sinks = boost::log::sinks;

namespace {

constexpr char kWrongLogger[] = "Failed to update file sink - received wrong logger type";

struct ProcessGroup {
    ProcessGroup() = default;
    ProcessGroup(const ProcessGroup&) = delete;
    ProcessGroup& operator=(const ProcessGroup&) = delete;
    ~ProcessGroup() {
        group.reset();
        accepted_severities = 0;  // Static objects destroyed later can no longer log.
    }

    const boost::shared_ptr<boost::log::core> core = boost::log::core::get();  // Destroyed after the group.
    std::mutex mutex;  // Guards the creation and replacement of `group`.
    std::unique_ptr<LoggerGroup> group;
};

ProcessGroup& Process() {
    static ProcessGroup process;
    return process;
}

bool IsConsole(Loggers logger) {
    return logger == Loggers::error_console || logger == Loggers::output_console;
}

bool IsFile(Loggers logger) {
    return logger == Loggers::main_file || logger == Loggers::verbose_file;
}

std::size_t Position(Loggers logger) {
    return static_cast<std::size_t>(logger);
}

template <typename Backend>
boost::shared_ptr<sinks::sink> MakeSink(const boost::shared_ptr<Backend>& backend, const SinkOptions& options) {
    auto sink = boost::make_shared<sinks::synchronous_sink<Backend>>(backend);
    sink->set_filter([options](const boost::log::attribute_value_set& values) {
        const auto severity = boost::log::extract<Severity>("Severity", values);
        if (!severity) {
            return false;
        }
        const auto channel = boost::log::extract<std::string>("Channel", values);
        return options.severities.contains(*severity) ||
               (*severity == Severity::trace && channel && options.TakesTraceOf(*channel));
    });
    sink->set_formatter([options](const boost::log::record_view& record, boost::log::formatting_ostream& stream) {
        FormatLogLine(record, options, stream);
    });
    return sink;
}

// Adds attributes to every record in the process, including records of foreign loggers.
void AddCommonAttributes() {
    const auto core = boost::log::core::get();
    core->add_global_attribute("TimeStamp", boost::log::attributes::local_clock());
    core->add_global_attribute("ThreadID", boost::log::attributes::current_thread_id());
}

}  // namespace

void Prepare() {
    LoggerGroup::Instance();
    SwitchCore(false);
}

void InitLogging(const std::string& channel, const std::string& verbose_channel, bool quiet, bool verbose_logs,
                 const std::string& trace_categories) {
    auto options = GetDefaultTavikLogOptions(quiet, verbose_logs, trace_categories);
    auto& process = Process();
    const std::lock_guard lock(process.mutex);
    process.group.reset();  // Removes the old sinks before the new sinks are installed.
    AddCommonAttributes();
    process.group = std::make_unique<LoggerGroup>(channel, verbose_channel);
    for (const auto console : {Loggers::error_console, Loggers::output_console}) {
        auto& of_console = options[Position(console)];
        of_console.enabled = true;
        process.group->updateStreamSink(console, std::move(of_console));
    }
    process.group->file_options = std::move(options);
    process.group->SetFolder("");
    SwitchCore(true);
}

bool AcceptsDefaultSeverity() {
    return Accepts(Severity::verbose);
}

LoggerGroup::LoggerGroup(const std::string& channel, const std::string& verbose_channel)
    : channel(channel), verbose_channel(verbose_channel) {
    SetGroupSeverities(this, 0);
}

LoggerGroup::~LoggerGroup() {
    ForgetGroup(this);
    for (const auto& sink : sinks) {
        if (sink) {
            boost::log::core::get()->remove_sink(sink);
        }
    }
}

LoggerGroup& LoggerGroup::Instance() {
    auto& process = Process();
    const std::lock_guard lock(process.mutex);
    if (!process.group) {
        AddCommonAttributes();
        process.group = std::make_unique<LoggerGroup>("core", "core_verbose");
    }
    return *process.group;
}

void LoggerGroup::updateStreamSink(Loggers logger, SinkOptions&& options) {
    if (!IsConsole(logger)) {
        // The text says "file sink" although this function updates console sinks. Deliberate: do not change it.
        TAVIK_LOG(error) << kWrongLogger;
        return;
    }
    Sink sink;
    if (options.enabled) {
        auto* const stream = logger == Loggers::error_console ? &std::cerr : &std::cout;
        const auto backend = boost::make_shared<sinks::text_ostream_backend>();
        backend->add_stream(boost::shared_ptr<std::ostream>(stream, null_deleter()));
        backend->auto_flush(options.auto_flush);
        sink = MakeSink(backend, options);
    }
    Install(logger, sink, options);
}

void LoggerGroup::updateFileSink(Loggers logger, const boost::filesystem::path& file_folder, const std::string& name,
                                 SinkOptions&& options) {
    if (!IsFile(logger)) {
        TAVIK_LOG(error) << kWrongLogger;
        return;
    }
    Sink sink;
    if (options.enabled) {
        if (!file_folder.empty()) {
            boost::system::error_code ignored;  // If this fails, opening the file fails too, and that is reported.
            boost::filesystem::create_directories(file_folder, ignored);
        }
        sink = MakeSink(boost::make_shared<LogFileBackend>(file_folder, name, options.auto_flush), options);
    }
    Install(logger, sink, options);
}

void LoggerGroup::SetFolder(const boost::filesystem::path& new_folder) {
    std::array<SinkOptions, kLoggerCount> options;
    {
        const std::lock_guard lock(mutex);
        options = file_options;
    }
    updateFileSink(Loggers::main_file, new_folder, channel, std::move(options[Position(Loggers::main_file)]));
    updateFileSink(Loggers::verbose_file, new_folder, verbose_channel,
                   std::move(options[Position(Loggers::verbose_file)]));
}

void LoggerGroup::Install(Loggers logger, const Sink& sink, const SinkOptions& options) {
    const std::lock_guard lock(mutex);
    const auto core = boost::log::core::get();
    auto& slot = sinks.at(Position(logger));
    if (slot) {
        core->remove_sink(slot);
    }
    slot = sink;
    if (slot) {
        core->add_sink(slot);
    }
    installed.at(Position(logger)) = options;
    SetGroupSeverities(this, AcceptedSeverities());
}

SeverityBits LoggerGroup::AcceptedSeverities() const {
    SeverityBits accepted = 0;
    for (std::size_t i = 0; i < sinks.size(); ++i) {
        for (unsigned severity = 0; sinks[i] && severity <= 5; ++severity) {
            accepted |= static_cast<SeverityBits>(installed[i].Takes(static_cast<Severity>(severity))) << severity;
        }
    }
    return accepted;
}

}  // namespace Common::logging
