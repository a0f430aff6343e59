#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace Common {

/// Runs shell commands in a working folder and collects their output. Only one thread at a time may use a launcher, and
/// only one launcher at a time may run a command, because Launch changes the working directory of the whole process.
class ProcessLauncher {
public:
    /// Works in `directory`. If `directory` is empty, chooses a new folder with a random name in the system's temporary
    /// folder. The first WriteFile or Launch creates the new folder; the destructor removes it with its contents.
    explicit ProcessLauncher(const std::string& directory);
    ProcessLauncher(const ProcessLauncher&) = delete;
    ProcessLauncher& operator=(const ProcessLauncher&) = delete;
    ~ProcessLauncher();

    /// Returns a file name, without folder, that ends in `extension` and does not exist in the working folder. Throws
    /// std::runtime_error "Could not find new unique filename." if each of 100 random names exists.
    std::string NewFilename(const std::string& extension) const;

    /// Writes `contents` to the file `name` in the working folder, which is created if needed. Returns the file's path,
    /// including the folder. A failure to write the file is not reported. Throws boost::filesystem::filesystem_error
    /// when the folder cannot be created.
    std::string WriteFile(const std::string& name, const std::string& contents) const;

    /// Removes the file `name` in the working folder. Ignores failures, such as a missing file.
    void DeleteFile(const std::string& name) const;

    /// The lines of the file `name` in the working folder, without their line feeds. Empty if the file cannot be read.
    std::vector<std::string> ReadFile(const std::string& name) const;

    /// Runs `command` through the shell in the working folder and collects its standard output in `output`.
    /// Returns the status from pclose undecoded: exit code 1 is 256. The working directory is restored unless the pipe
    /// cannot be opened or the output is too long. Throws:
    /// - std::runtime_error when the pipe cannot be opened;
    /// - std::runtime_error when the output is longer than `max_output_size`;
    /// - std::runtime_error for a status other than 0, if `throw_on_error`;
    /// - boost::filesystem::filesystem_error when the folder cannot be created or entered.
    int Launch(const std::string& command, bool throw_on_error);

protected:
    std::string directory;
    bool owns_directory;

public:
    std::string output;  ///< Standard output of the latest command.

protected:
    std::uint64_t max_output_size = 1000000000;  ///< In bytes.
    std::uint64_t read_chunk_size = 1024;        ///< In bytes; one read returns at most one byte less.

private:
    void ReadOutput(const std::string& command, std::FILE* pipe, std::vector<char>& chunk);
};

}  // namespace Common
