#pragma once

#include <cstdint>
#include <fstream>
#include <mutex>
#include <string>
#include <string_view>

namespace Tavik {

/// A text file that is written line by line and reports its first failure, once, at severity error with its
/// path and the system's reason; later writes to it are then lost. Not synchronised.
class OutputFile {
public:
    OutputFile() = default;
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile();

    /// Opens `path` for writing and truncates an existing file; closes the file that was open before.
    void Open(const std::string& path);

    /// Writes `line`, which ends in a line feed, and flushes, in one write where the system allows.
    void WriteLine(std::string_view line);

private:
    void Close();
    void Report(const char* what) const;

    std::ofstream stream;
    std::string path;
};

/// What the run loop keeps per output of the current input file.
struct OutputEntry {
    std::mutex mutex;             ///< Guards the other members once workers run.
    OutputFile file;              ///< Closed with the entry.
    std::int32_t read_count = 0;  ///< Reads written through this entry.
};

}  // namespace Tavik
