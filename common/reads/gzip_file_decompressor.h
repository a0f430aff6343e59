#pragma once

#include <ios>
#include <memory>
#include <streambuf>
#include <string>

#include <boost/iostreams/concepts.hpp>

namespace Common {

class GzipHeadStart;

/// A Boost.Iostreams filter that returns the text of a gzip file with one or more members. It returns every byte
/// before a corruption; the next read then throws std::runtime_error with the file and the reason. Zero bytes between
/// and after members are ignored. Up to 512 other bytes after a member are ignored with one warning. If there are more
/// of them, or if another gzip header follows them, the text ends with that member, and the read after the end throws.
/// Copies share one state. Not synchronised.
class GzipFileDecompressor : public boost::iostreams::multichar_input_filter {
public:
    /// `path`: the file name in messages. `head_start`: if it is not null, the text comes from it, and `read` ignores
    /// its source.
    GzipFileDecompressor(const std::string& path, std::unique_ptr<GzipHeadStart> head_start);

    /// Reads up to `count` bytes of text. Returns their number, or -1 at the end. On the first call, `source` must be
    /// at the start of the file. Exceptions of `source` pass through.
    std::streamsize read(std::streambuf& source, char* buffer, std::streamsize count);

private:
    class Decoder;
    std::shared_ptr<Decoder> decoder;
};

}  // namespace Common
