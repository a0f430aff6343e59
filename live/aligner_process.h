#pragma once

#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace Live {

/// A running tavik_aligner. It is killed when this program dies, and gets no signals from the terminal.
class AlignerProcess {
public:
    /// `command`: the program's path and the arguments. Standard input comes from the file `input`; standard output and
    /// standard error go to the file `messages`. Throws std::system_error if a file cannot be opened or the program
    /// cannot be started.
    AlignerProcess(const std::vector<std::string>& command, const std::string& input, const std::string& messages);
    AlignerProcess(const AlignerProcess&) = delete;
    AlignerProcess& operator=(const AlignerProcess&) = delete;
    /// Kills the aligner if it still runs.
    ~AlignerProcess();

    /// The exit status, or the negated number of the signal that ended the aligner; std::nullopt while the aligner
    /// runs. Does not wait.
    std::optional<int> Ended();

private:
    pid_t process = -1;
    std::optional<int> status;
};

}  // namespace Live
