#include "common/process_launcher.h"

#include <cstring>
#include <fstream>
#include <memory>
#include <stdexcept>

#include <boost/filesystem/operations.hpp>

#include "common/logging/record.h"

namespace Common {

namespace fs = boost::filesystem;

namespace {

constexpr char kUniquePattern[] = "%%%%-%%%%-%%%%-%%%%";
constexpr int kMaxNames = 100;

struct ClosePipe {
    void operator()(std::FILE* pipe) const { ::pclose(pipe); }
};

}  // namespace

ProcessLauncher::ProcessLauncher(const std::string& existing_directory)
    : directory(existing_directory), owns_directory(existing_directory.empty()) {
    if (!owns_directory) {
        TAVIK_LOG(verbose) << "Using existing directory " << directory;
        return;
    }
    TAVIK_LOG(verbose) << "Generating new temp directory name ...";
    directory = (fs::temp_directory_path() / fs::unique_path(kUniquePattern)).string();
    TAVIK_LOG(verbose) << "Temp directory name is " << directory;
}

ProcessLauncher::~ProcessLauncher() {
    if (!owns_directory) {
        return;
    }
    try {
        const auto count = fs::remove_all(directory);
        TAVIK_LOG(verbose) << "Removed temp directory " << directory << ", in total " << count
                           << " files and directories.";
    } catch (...) {  // A destructor must not throw.
        TAVIK_LOG(verbose) << "Error in removing temp directory";
    }
}

std::string ProcessLauncher::NewFilename(const std::string& extension) const {
    for (int i = 0; i < kMaxNames; ++i) {
        auto name = fs::unique_path(kUniquePattern).string() + extension;
        boost::system::error_code unknown;  // A name that cannot be checked counts as free.
        if (!fs::exists(fs::path(directory) / name, unknown)) {
            TAVIK_LOG(verbose) << "Returning new filename: " << name;
            return name;
        }
    }
    throw std::runtime_error("Could not find new unique filename.");
}

std::string ProcessLauncher::WriteFile(const std::string& name, const std::string& contents) const {
    fs::create_directories(directory);
    auto path = (fs::path(directory) / name).string();
    std::ofstream(path, std::ios_base::binary | std::ios_base::trunc) << contents;
    return path;
}

void ProcessLauncher::DeleteFile(const std::string& name) const {
    const auto path = fs::path(directory) / name;
    boost::system::error_code ignored;
    fs::remove(path, ignored);
    TAVIK_LOG(verbose) << "Deleted file " << path.string();
}

std::vector<std::string> ProcessLauncher::ReadFile(const std::string& name) const {
    std::ifstream stream((fs::path(directory) / name).string());
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

int ProcessLauncher::Launch(const std::string& command, bool throw_on_error) {
    const auto previous = fs::current_path();
    fs::create_directories(directory);
    fs::current_path(directory);
    TAVIK_LOG(verbose) << "Changed current directory to " << directory;

    std::vector<char> chunk(read_chunk_size, '\0');
    // If the pipe cannot be opened or the output is too long, `directory` stays the working directory. This is
    // deliberate: callers find the command's files there. Because of the mode "e", commands that other threads
    // start meanwhile do not inherit the pipe.
    std::unique_ptr<std::FILE, ClosePipe> pipe(::popen(command.c_str(), "re"));
    if (!pipe) {
        throw std::runtime_error("Could not open pipe for command '" + command + "'.");
    }
    TAVIK_LOG(verbose) << "Sucessfully opened pipe to command '" << command << "'.";
    ReadOutput(command, pipe.get(), chunk);

    const int status = ::pclose(pipe.release());
    TAVIK_LOG(verbose) << command.substr(0, command.find(' ')) << " ended with with code " << status;
    fs::current_path(previous);
    TAVIK_LOG(verbose) << "Set working path back to previous: " << previous.string();
    if (throw_on_error && status != 0) {
        throw std::runtime_error("Command '" + command + "' finished with error code " + std::to_string(status));
    }
    return status;
}

void ProcessLauncher::ReadOutput(const std::string& command, std::FILE* pipe, std::vector<char>& chunk) {
    output.clear();
    while (std::feof(pipe) == 0 && std::ferror(pipe) == 0) {
        if (std::fgets(chunk.data(), static_cast<int>(chunk.size()), pipe) == nullptr) {
            continue;
        }
        const auto length = std::strlen(chunk.data());
        if (output.size() + length > max_output_size) {
            throw std::runtime_error("Output read from command '" + command + "' is longer than allowed buffer.");
        }
        TAVIK_LOG(verbose) << "Received data from pipe:";
        TAVIK_LOG(verbose) << chunk.data();
        output.append(chunk.data(), length);
    }
}

}  // namespace Common
