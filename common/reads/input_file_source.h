#pragma once

#include <ios>
#include <memory>
#include <string>

#include <boost/iostreams/categories.hpp>
#include <boost/iostreams/positioning.hpp>

namespace Common {

/// A Boost.Iostreams source for one file or pipe. The first read or seek opens the file, and throws if that fails.
/// Copies share the position. Not synchronised.
class InputFileSource {
public:
    using char_type = char;
    struct category : boost::iostreams::device_tag, boost::iostreams::input_seekable {};

    explicit InputFileSource(const std::string& path);

    /// Reads up to `count` bytes into `buffer`. Returns their number, or -1 at the end of the file.
    /// Throws std::system_error with the file and the system's reason.
    std::streamsize read(char* buffer, std::streamsize count);

    /// Returns the new position in bytes from the start of the file, or -1 if the file is not seekable, for example
    /// a pipe. Throws as `read` does if the file cannot be opened.
    std::streampos seek(boost::iostreams::stream_offset offset, std::ios_base::seekdir from);

private:
    struct OpenFile;
    int Descriptor();

    std::shared_ptr<OpenFile> file;
};

}  // namespace Common
