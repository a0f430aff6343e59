#pragma once

#include <ios>
#include <memory>
#include <string>

#include <boost/iostreams/categories.hpp>

namespace Common {

/// A Boost.Iostreams source over one file (or pipe) that is opened by the first read, so that a file that
/// cannot be opened is an error of that read. Copies share the position. One thread.
class InputFileSource {
public:
    using char_type = char;
    using category = boost::iostreams::source_tag;

    explicit InputFileSource(const std::string& path);

    /// Reads up to `count` bytes into `buffer`; returns their number, or -1 at the end of the file.
    /// Throws std::system_error that names the file and the system's reason.
    std::streamsize read(char* buffer, std::streamsize count);

private:
    struct OpenFile;
    std::shared_ptr<OpenFile> file;
};

}  // namespace Common
