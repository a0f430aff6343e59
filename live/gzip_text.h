#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "common/file_descriptor.h"

namespace Live {

/// The text of a gzip file in memory. Programs of the same user can read it as a file, so that it is decompressed only
/// once.
class GzipText {
public:
    /// Decompresses a file. Null unless the file is sound to its last byte, has a text, which has at most `most` bytes,
    /// and the system has memory for it.
    static std::shared_ptr<const GzipText> Of(const std::string& path, std::uint64_t most);

    /// The path of the text while this object exists.
    std::string Path() const;

    /// In bytes.
    std::uint64_t Size() const { return size; }

private:
    explicit GzipText(int descriptor) : file(descriptor) {}
    bool HasPath() const;
    bool Fill(const std::string& path, std::uint64_t most);

    const Common::FileDescriptor file;
    std::uint64_t size = 0;
};

}  // namespace Live
