#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "common/fastq_record.h"
#include "common/gzip_head_start.h"
#include "common/parameters.h"
#include "common/sequencing_file_adapter.h"
#include "processors/output_file.h"

namespace boost::timer {
class progress_display;
}

namespace Tavik {

/// Base class of a read-processing tool. It has the common options, finds and processes the input files, and keeps the
/// failure of a read or a file from ending the run. A derived class adds its options, file names and per-read work.
///
/// All virtual functions run on the thread that calls Initialise and Run, except ProcessRead, which worker threads call
/// concurrently for different reads.
class ReadProcessor : protected Common::Parameters {
public:
    ReadProcessor();
    ~ReadProcessor() override;

    /// Reads the parameters, answers requests for help and version, creates the save folder and sets up logging. Call
    /// only once. `data_path_override`: see Common::Parameters::Parse. `default_config`: the configuration file if
    /// `--config` is not given. Throws boost::filesystem::filesystem_error if the save folder cannot be created.
    ///
    /// Ends the process with status 0 after help, and with 255 if Parse reports an error. An unknown option is not an
    /// error. A version request alone ends the process with 255, because the required options are missing. It
    /// prints no error message. This is deliberate: scripts rely on it.
    ReadProcessor& Initialise(int argc, char** argv, const std::string& data_path_override,
                              const std::string& default_config);

    /// Processes all input files. Returns 0, or logs an error and returns -1 if the run fails. Failures of a file or a
    /// read are logged and do not end the run. A file without records deliberately ends the process (see
    /// Common::SequencingFileAdapter). Throws what PrepareRun throws.
    int Run();

    /// Processes the reads of one file on the worker threads. Returns the number of reads written, or logs an error and
    /// returns -1 if the file fails.
    int ProcessSequencingFile(const std::string& file);
    /// Like ProcessSequencingFile, but calls ProcessReadAsync and CollectAsyncResults, on the calling thread only.
    int ProcessSequencingFileAsync(const std::string& file);

    // The order of the virtual functions is fixed. It continues the order in Common::Parameters.
    void DeclareOptions() override;

    /// Logs an error and returns false if the number of worker threads is exactly 0. Negative numbers are accepted
    /// deliberately. Neither Initialise nor Run calls this function.
    bool ValidateParams() override;

    /// Registers the processor's own options and sets the usage text.
    virtual void DeclareProcessorOptions() = 0;
    /// Neither Initialise nor Run calls this function: the log files have fixed names.
    virtual std::string GetLogFileName() = 0;
    /// Name of the summary file in the save folder.
    virtual std::string GetSummaryFileName() = 0;
    /// Called after parsing, even if Parse reports errors, but not after a request for help.
    virtual void OnParametersParsed() {}
    /// Called once before the first file, when the summary file is open.
    virtual void PrepareRun() = 0;
    /// Called at the start of each input file, when no worker is active.
    virtual void StartNewFile(const std::string& path) = 0;
    /// Processes one read. Several threads call it at once. After an exception, the run continues with the next read.
    virtual int ProcessRead(const Common::FastQRecord& record, const std::string& read_id) = 0;
    /// Accepts one read without waiting for its result. Called only in asynchronous mode.
    virtual void ProcessReadAsync(const Common::FastQRecord& record, const std::string& read_id) = 0;
    /// Finishes the reads passed to ProcessReadAsync. Called only in asynchronous mode.
    virtual void CollectAsyncResults() = 0;

protected:
    bool quiet = false;
    bool recursive = false;
    bool verbose_logs = false;
    bool asynchronous = false;  // No option sets it.
    int worker_threads = 4;
    std::string input_path;
    std::string save_path;
    std::string config_file_used;
    std::string trace_categories;
    bool log_reads = false;  // Whether a log record is made for each read; set by Initialise.
    OutputFile summary;
    std::unique_ptr<boost::timer::progress_display> progress;
    std::mutex summary_mutex;  // Guards `summary` while workers run.
    std::map<std::string, OutputEntry> outputs;
    std::mutex outputs_mutex;  // Guards look-up and insertion in `outputs` while workers run.

private:
    using ReadWork = std::function<int(const Common::FastQRecord&, const std::string&)>;

    void AnswerHelpAndVersion(const std::string& program);
    void ReportParameterErrors();
    void SetUpLogging();
    std::vector<std::string> FindInputFiles() const;
    void ProcessFiles(const std::vector<std::string>& files);
    int ContainFile(const std::string& file, const char* origin,
                    const std::function<void(Common::SequencingFileAdapter&)>& process_reads);
    int ContainRead(const Common::FastQRecord& record, const ReadWork& work) const;

    std::unique_ptr<Common::GzipHeadStarts> head_starts;
};

}  // namespace Tavik
