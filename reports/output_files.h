#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace Reports {

/// The files of a report. Write gives each file a temporary name, and Publish then renames all of them, so that the
/// previous report stays intact if a write fails or the program is interrupted before Publish. The constructor, Write
/// and Publish throw std::runtime_error "<path>: <what failed>: <the system's reason>".
class OutputFiles {
public:
    /// Creates the folder if it is missing.
    explicit OutputFiles(const std::filesystem::path& folder);
    /// Removes the files that were not published.
    ~OutputFiles();
    OutputFiles(const OutputFiles&) = delete;
    OutputFiles& operator=(const OutputFiles&) = delete;

    void Write(const std::string& name, std::string_view text);

    /// Renames all files to their final names and returns their paths.
    std::vector<std::filesystem::path> Publish();

private:
    const std::filesystem::path folder;
    std::vector<std::filesystem::path> unnamed;  // Final paths of the files that still have temporary names.
};

/// Flushes standard output. Returns false, with a message on standard error, if the flush or an earlier write failed.
bool FlushStandardOutput();

}  // namespace Reports
