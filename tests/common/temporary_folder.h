#pragma once

#include <filesystem>
#include <fstream>
#include <string>

#include <unistd.h>

namespace Tests {

/// A new folder under the system's temporary folder, removed with everything in it at the end.
class TemporaryFolder {
public:
    TemporaryFolder() {
        auto pattern = (std::filesystem::temp_directory_path() / "tavik-test-XXXXXX").string();
        path = ::mkdtemp(pattern.data());  // Throws when there is none.
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

/// A path as one word of a shell's command. The path holds no quote itself.
inline std::string Quoted(const std::string& path) {
    return "'" + path + "'";
}

/// How many descriptors this process has open, the one that counts them among them.
inline std::ptrdiff_t OpenDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
}

}  // namespace Tests
