#include "third_party_alignment/ext_align_process_caller.h"

#include <stdexcept>
#include <string_view>

#include <boost/algorithm/string/replace.hpp>

#include "common/logging/record.h"

namespace ThirdPartyAlignment {

namespace {

// The number of retries, so there are up to eleven runs. Both this number and its use in the message are deliberate.
constexpr int kMaxAttempts = 10;

// Puts each blank into double quotes, so that the shell reads a path with blanks as one word.
std::string Quoted(const std::string& value) {
    return boost::replace_all_copy(value, " ", "\" \"");
}

}  // namespace

ExtAlignProcessCaller::ExtAlignProcessCaller(const std::string& reference, const std::string& executable,
                                             const std::string& command)
    : reference(reference), executable(executable), command(command), launcher("") {
    TAVIK_LOG(verbose) << "Creating ExtAlignProcessCaller";
}

std::string ExtAlignProcessCaller::Call(const std::string& sequence, const std::string& read_name) {
    const auto read_file = launcher.NewFilename(".fasta");
    launcher.WriteFile(read_file, ">" + read_name + "\n" + sequence + "\n");
    Run(CommandLine(read_file));
    launcher.DeleteFile(read_file);
    return launcher.output;
}

std::string ExtAlignProcessCaller::CommandLine(const std::string& read_file) const {
    // Replaces one placeholder after the other. No pass searches the text that it inserted.
    auto line = boost::replace_all_copy(command, "{executable}", Quoted(executable));
    boost::replace_all(line, "{reference}", Quoted(reference));
    boost::replace_all(line, "{strand}", Quoted(read_file));
    return line + " 2> /dev/null";
}

void ExtAlignProcessCaller::Run(const std::string& command_line) {
    for (int failures = 0;; ++failures) {
        try {
            launcher.Launch(command_line, true);
            if (failures > 0) {
                TAVIK_LOG(verbose) << "BWA alignment succeeded eventually on attempt: " << failures + 1;
            }
            return;
        } catch (const std::runtime_error&) {
            if (failures == kMaxAttempts) {
                TAVIK_LOG(verbose) << "Alignment failed after max_attempts: " << kMaxAttempts;
                throw;
            }
        }
    }
}

std::shared_ptr<ExtAlignCaller> ExtAlignProcessCaller::Copy() const {
    TAVIK_LOG(verbose) << "Copying ExtAlignProcessCaller";
    return std::make_shared<ExtAlignProcessCaller>(reference, executable, command);
}

}  // namespace ThirdPartyAlignment
