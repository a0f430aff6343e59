#pragma once

#include <ios>
#include <memory>
#include <streambuf>
#include <string>

#include <boost/iostreams/concepts.hpp>

namespace Common {

class GzipHeadStart;

/// A Boost.Iostreams filter that returns the text of a gzip file with one or more members. Copies share one state. Not
/// synchronised.
///
/// - Zero bytes between and after members are ignored.
/// - Up to 512 other bytes after the last member are ignored with a warning.
/// - Other bytes after a member are an error if there are more than 512 of them or if another gzip header follows them.
///   The text ends before these bytes: `read` returns -1 there and, if it is called again, throws std::runtime_error.
/// - Every byte before a corruption is returned; the next `read` throws std::runtime_error.
///
/// The exceptions name the file and the reason.
class GzipFileDecompressor : public boost::iostreams::multichar_input_filter {
public:
    /// `path`: the file name in messages. If `head_start` is not null, the text comes from the head start, and `read`
    /// ignores `source`.
    GzipFileDecompressor(const std::string& path, std::unique_ptr<GzipHeadStart> head_start);

    /// Reads up to `count` bytes of text. Returns their number, or -1 at the end. On the first call, `source` must be
    /// at the start of the file. Exceptions of `source` pass through.
    std::streamsize read(std::streambuf& source, char* buffer, std::streamsize count);

private:
    class Decoder;
    std::shared_ptr<Decoder> decoder;
};

}  // namespace Common
