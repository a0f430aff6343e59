#include "processors/output_file.h"

#include <cerrno>
#include <system_error>

#include "common/logging/record.h"

namespace Tavik {

void OutputFile::Open(const std::string& new_path) {
    stream.close();  // What goes wrong here does not count: opening clears the state.
    path = new_path;
    errno = 0;
    stream.open(path, std::ios_base::out | std::ios_base::trunc);
    if (!stream) {
        Report("Could not open output file ");
    }
}

void OutputFile::WriteLine(std::string_view line) {
    if (!stream) {
        return;  // Reported when it failed.
    }
    errno = 0;
    stream.write(line.data(), static_cast<std::streamsize>(line.size()));
    stream.flush();
    if (!stream) {
        Report("Could not write to output file ");
    }
}

void OutputFile::Report(const char* what) const {
    const int reason = errno;
    TAVIK_LOG(error) << what << path << ": " << std::generic_category().message(reason);
}

}  // namespace Tavik
