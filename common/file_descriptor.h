#pragma once

#include <unistd.h>

namespace Common {

/// Owns a file descriptor and closes it.
class FileDescriptor {
public:
    explicit FileDescriptor(int descriptor) : descriptor(descriptor) {}
    ~FileDescriptor() {
        if (descriptor >= 0) {
            ::close(descriptor);
        }
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    int Get() const { return descriptor; }

private:
    const int descriptor;
};

}  // namespace Common
