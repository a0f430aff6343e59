#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace Reports {

/// The files of a report. They are written under other names first and get their own ones together: a write that fails,
/// and an interrupted program, leave the former report as it was. Throws std::runtime_error "<path>: <what failed>:
/// <the system's reason>".
class OutputFiles {
public:
    /// Creates the folder if it is missing.
    explicit OutputFiles(const std::filesystem::path& folder);
    /// Removes what did not get its name.
    ~OutputFiles();
    OutputFiles(const OutputFiles&) = delete;
    OutputFiles& operator=(const OutputFiles&) = delete;

    void Write(const std::string& name, std::string_view text);

    /// Gives all files their names, and returns their paths.
    std::vector<std::filesystem::path> Publish();

private:
    const std::filesystem::path folder;
    std::vector<std::filesystem::path> unnamed;  // Their own paths.
};

/// Writes out what waits in the buffer of standard output. False, with a message on standard error, if that or an
/// earlier write there failed.
bool FlushStandardOutput();

}  // namespace Reports
