#pragma once

#include <ios>
#include <memory>
#include <streambuf>
#include <string>

#include <boost/iostreams/concepts.hpp>

namespace Common {

class GzipHeadStart;

/// A Boost.Iostreams filter that returns the text of a gzip file with any number of members. Returns every byte before
/// any corruption; the next read then throws std::runtime_error with the file and the reason. Zero bytes between and
/// after members are padding. One warning counts other bytes after the last member. If there are more than 512 of them,
/// or another gzip header follows them, the text ends before them and the read after that end throws. Copies share one
/// state. One thread.
class GzipFileDecompressor : public boost::iostreams::multichar_input_filter {
public:
    /// `path`: the file name used in messages. The text comes from `head_start`, if there is one, and the source given
    /// to read is not used.
    GzipFileDecompressor(const std::string& path, std::unique_ptr<GzipHeadStart> head_start);

    /// Reads up to `count` bytes of text; -1 at the end. `source` must be at the start of the file on the first call;
    /// its exceptions pass through.
    std::streamsize read(std::streambuf& source, char* buffer, std::streamsize count);

private:
    class Decoder;
    std::shared_ptr<Decoder> decoder;
};

}  // namespace Common
