#pragma once

#include <cstdint>
#include <fstream>
#include <mutex>
#include <string>
#include <string_view>

namespace Tavik {

/// A text file written line by line. Logs its first failure, at severity error with the path and the system's reason,
/// and then drops all writes until the next Open. Not synchronised.
class OutputFile {
public:
    OutputFile() = default;
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile();

    /// Opens `path` for writing and truncates an existing file; closes a file already open.
    void Open(const std::string& path);

    /// Writes `line`, which ends in a line feed, and flushes. This is normally a single system call.
    void WriteLine(std::string_view line);

private:
    void Close();
    void Report(const char* what) const;

    std::ofstream stream;
    std::string path;
};

/// One output of the current input file.
struct OutputEntry {
    std::mutex mutex;  ///< Guards the other members while workers run.
    OutputFile file;
    std::int32_t read_count = 0;  ///< Number of reads written through this entry.
};

}  // namespace Tavik
