#include "processors/output_file.h"

#include <cerrno>
#include <system_error>

#include "common/logging/record.h"

namespace Tavik {

OutputFile::~OutputFile() {
    Close();
}

void OutputFile::Open(const std::string& new_path) {
    Close();
    path = new_path;
    errno = 0;
    stream.open(path, std::ios_base::out | std::ios_base::trunc);
    if (!stream) {
        Report("Could not open output file ");
    }
}

void OutputFile::WriteLine(std::string_view line) {
    if (!stream) {
        return;  // The failure has been reported.
    }
    errno = 0;
    stream.write(line.data(), static_cast<std::streamsize>(line.size()));
    stream.flush();
    if (!stream) {
        Report("Could not write to output file ");
    }
}

// Checks for errors, because a network file system may report a failed write only when the file is closed.
void OutputFile::Close() {
    if (!stream.is_open()) {
        return;
    }
    const bool good = stream.good();
    errno = 0;
    stream.close();
    if (good && !stream) {
        Report("Could not write to output file ");
    }
}

void OutputFile::Report(const char* what) const {
    const int reason = errno;
    TAVIK_LOG(error) << what << path << ": " << std::generic_category().message(reason);
}

}  // namespace Tavik
