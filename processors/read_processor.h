#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "common/fastq_record.h"
#include "common/parameters.h"
#include "common/sequencing_file_adapter.h"
#include "processors/output_file.h"

namespace boost::timer {
class progress_display;
}

namespace Tavik {

/// The engine behind a read-processing tool: common options, discovery of the input files, the run over them
/// and the containment of failures. A concrete processor supplies its options, file names and per-read work.
///
/// Everything runs on the thread that calls Run, except ProcessRead, which worker threads call at the same
/// time for different reads.
class ReadProcessor : protected Common::Parameters {
public:
    ReadProcessor();
    ~ReadProcessor() override;

    /// Reads the parameters, answers help and version, creates the save folder and sets logging up. To be
    /// called once. Ends the process with status 0 after help and with 255 on wrong parameters. A version
    /// request alone ends with 255 too, in silence, because the required options are missing: deliberate,
    /// scripts rely on it. Throws the file system's error when the save folder cannot be created.
    /// `data_path_override`: see Common::Parameters::Parse; `default_config`: read when `--config` is not
    /// given.
    ReadProcessor& Initialise(int argc, char** argv, const std::string& data_path_override,
                              const std::string& default_config);

    /// Processes all input files. Returns 0, or -1 after a failure that was logged. Failures of a file or a
    /// read are logged and do not end the run.
    int Run();

    /// Processes the reads of one file on the worker threads. Returns the number of reads written, or -1
    /// after a failure of the file, which is logged.
    int ProcessSequencingFile(const std::string& file);
    /// The same through the asynchronous hooks, on the calling thread alone.
    int ProcessSequencingFileAsync(const std::string& file);

    // The order of the virtual operations is fixed: it continues that of Common::Parameters.
    void DeclareOptions() override;

    /// Logs an error and returns false for a count of exactly 0 worker threads. Negative counts pass, on
    /// purpose.
    bool ValidateParams() override;

    /// Registers the processor's own options and sets the usage text.
    virtual void DeclareProcessorOptions() = 0;
    virtual std::string GetLogFileName() = 0;
    /// Name of the summary file in the save folder.
    virtual std::string GetSummaryFileName() = 0;
    /// Called right after parsing.
    virtual void OnParametersParsed() {}
    /// Called once before the first file, when the summary file is open.
    virtual void PrepareRun() = 0;
    /// Called at the start of each input file; no worker is active then.
    virtual void StartNewFile(const std::string& path) = 0;
    /// The work on one read; called by several threads at once. What it throws ends this read alone.
    virtual int ProcessRead(const Common::FastQRecord& record, const std::string& read_id) = 0;
    /// Asynchronous mode: takes one read, without waiting for its result.
    virtual void ProcessReadAsync(const Common::FastQRecord& record, const std::string& read_id) = 0;
    /// Asynchronous mode: finishes the reads that ProcessReadAsync took.
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
    bool log_reads = false;  // Whether per-read records are built at all; set by Initialise.
    OutputFile summary;
    std::unique_ptr<boost::timer::progress_display> progress;
    std::mutex summary_mutex;  // Guards summary once workers run.
    std::map<std::string, OutputEntry> outputs;
    std::mutex outputs_mutex;  // Guards look-up and insertion in outputs.

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
};

}  // namespace Tavik
