#pragma once

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

#include <unistd.h>

namespace Tests {

/// A new folder in the system's temporary folder; the destructor removes it with its contents.
class TemporaryFolder {
public:
    TemporaryFolder() {
        auto pattern = (std::filesystem::temp_directory_path() / "tavik-test-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) {
            throw std::system_error(errno, std::generic_category(), pattern);
        }
        path = pattern;
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }

    std::string Path(const std::string& name) const { return path + "/" + name; }

    /// Writes a file and returns its path.
    std::string Write(const std::string& name, const std::string& content) const {
        std::ofstream(Path(name), std::ios_base::binary) << content;
        return Path(name);
    }

private:
    std::string path;
};

/// Returns a path as one word of a shell command. The path must not contain a single quote.
inline std::string Quoted(const std::string& path) {
    return "'" + path + "'";
}

/// The number of open descriptors of this process, including the one used for counting.
inline std::ptrdiff_t OpenDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
}

}  // namespace Tests
