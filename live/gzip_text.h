#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "common/file_descriptor.h"

namespace Live {

/// The decompressed text of a gzip file, in memory. Other programs of the same user can open the text as a file, so the
/// gzip file is decompressed only once.
class GzipText {
public:
    /// Decompresses the gzip file `path`. Returns null if:
    /// - the file cannot be read, is damaged or has non-zero bytes after its last member;
    /// - its text is empty or longer than `most` bytes;
    /// - memory or file descriptors run out;
    /// - Path would not lead to the text.
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
