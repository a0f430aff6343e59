#pragma once

#include <memory>
#include <set>
#include <string>

#include "processors/read_processor.h"
#include "third_party_alignment/ext_align_caller.h"

namespace Tavik {

/// Aligns reads to a reference: one SAM file per input file and one summary row per read.
class Aligner : public ReadProcessor {
public:
    void DeclareProcessorOptions() override;
    std::string GetLogFileName() override;
    std::string GetSummaryFileName() override;

    /// Writes the summary's header line and loads the reference. If the reference cannot be loaded, logs the reason and
    /// ends the process with status 1.
    void PrepareRun() override;

    /// Opens the SAM file of an input file and writes the "@SQ" lines to it. The SAM file's path relative to the save
    /// path is the input file's path relative to the input path, with the extension "sam". If the input path is empty,
    /// the SAM file is directly in the save path. Throws boost::filesystem::filesystem_error if the SAM file's folder
    /// cannot be created, and std::runtime_error if the SAM file would replace the input file.
    void StartNewFile(const std::string& file) override;

    /// Aligns one read and writes its SAM lines and its summary row together. Returns 1. If AlignReadToLines throws,
    /// writes nothing and passes the exception on.
    int ProcessRead(const Common::FastQRecord& record, const std::string& read_id) override;

    /// ProcessReadAsync and CollectAsyncResults throw std::runtime_error, because the aligner has no asynchronous mode.
    void ProcessReadAsync(const Common::FastQRecord& record, const std::string& read_id) override;
    void CollectAsyncResults() override;

protected:
    std::string align_ref;
    float min_coverage = 0.6F;
    std::unique_ptr<ThirdPartyAlignment::ExtAlignCaller> caller;

private:
    void LoadReference();
    std::string SamPath(const std::string& file) const;
    OutputEntry& SamOutput();

    std::string sam_header;                // The first lines of each SAM file.
    std::set<std::string> sam_paths_used;  // To detect input files with the same SAM file.
};

}  // namespace Tavik
