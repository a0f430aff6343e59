#include "reports/output_files.h"

#include <cerrno>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace Reports {

namespace fs = std::filesystem;

namespace {

fs::path Unfinished(fs::path path) {
    return path += ".part";
}

std::runtime_error Failed(const fs::path& path, const std::string& what, const std::error_code& reason) {
    return std::runtime_error(path.string() + ": " + what + ": " + reason.message());
}

constexpr char kNotWritten[] = "could not be written";

}  // namespace

OutputFiles::OutputFiles(const fs::path& folder) : folder(folder) {
    std::error_code reason;
    fs::create_directories(folder, reason);
    if (reason) {
        throw Failed(folder, "the folder could not be created", reason);
    }
}

OutputFiles::~OutputFiles() {
    for (const auto& path : unnamed) {
        std::error_code ignored;
        fs::remove(Unfinished(path), ignored);
    }
}

void OutputFiles::Write(const std::string& name, std::string_view text) {
    const auto path = folder / name;
    errno = 0;
    std::ofstream stream(Unfinished(path), std::ios_base::binary | std::ios_base::trunc);
    if (stream) {
        unnamed.push_back(path);
    }
    stream.write(text.data(), static_cast<std::streamsize>(text.size()));
    // Closing writes the rest of the buffer, and a network file system may report a full disk only then.
    stream.close();
    if (!stream) {
        throw Failed(path, kNotWritten, {errno, std::generic_category()});
    }
}

std::vector<fs::path> OutputFiles::Publish() {
    for (const auto& path : unnamed) {
        std::error_code reason;
        fs::rename(Unfinished(path), path, reason);
        if (reason) {
            throw Failed(path, kNotWritten, reason);
        }
    }
    return std::exchange(unnamed, {});
}

bool FlushStandardOutput() {
    errno = 0;
    std::cout.flush();
    if (!std::cout) {
        std::cerr << "Error: could not write to standard output" << (errno == 0 ? "" : ": ")
                  << (errno == 0 ? "" : std::generic_category().message(errno)) << '\n';
    }
    return static_cast<bool>(std::cout);
}

}  // namespace Reports
