#pragma once

#include <memory>
#include <string>

#include "common/process_launcher.h"
#include "third_party_alignment/ext_align_caller.h"

namespace ThirdPartyAlignment {

/// Aligns reads by running an external aligner for each read. Each copy has its own temporary folder. Commands run in
/// that folder, so relative paths start there. While a command runs, that folder is the working directory of the whole
/// process (see Common::ProcessLauncher). Only one thread at a time may therefore use Call, even of different
/// instances.
class ExtAlignProcessCaller : public ExtAlignCaller {
public:
    /// `command`: a shell command that prints SAM text on standard output. "{executable}" and "{reference}" are
    /// replaced by the arguments of these names, and "{strand}" by the name of the read's FASTA file.
    ExtAlignProcessCaller(const std::string& reference, const std::string& executable, const std::string& command);

    /// Writes the read to a FASTA file, runs the command and returns its output. After a failure, the command is run
    /// again at once, up to eleven times in all. If all runs fail, throws the std::runtime_error of the eleventh run
    /// and keeps the FASTA file until this object is destroyed.
    std::string Call(const std::string& sequence, const std::string& read_name) override;

    std::shared_ptr<ExtAlignCaller> Copy() const override;

private:
    std::string CommandLine(const std::string& read_file) const;
    void Run(const std::string& command_line);

    std::string reference;
    std::string executable;
    std::string command;
    Common::ProcessLauncher launcher;
};

}  // namespace ThirdPartyAlignment
