#pragma once

#include <ios>
#include <memory>
#include <streambuf>
#include <string>

#include <boost/iostreams/concepts.hpp>

namespace Common {

/// A Boost.Iostreams filter that hands out the text of a gzip file, whatever number of members it has. Every
/// byte before a damage is handed out; then the read throws std::runtime_error that names the file and the
/// reason. Between and behind members zero bytes are padding. Other bytes behind the last member are counted
/// in one warning. When there are more than 512 of them, or a further gzip header follows them, the text ends before
/// them and the read after that end throws. Copies share one state. One thread.
class GzipFileDecompressor : public boost::iostreams::multichar_input_filter {
public:
    /// `path`: the file that the filter's source reads, for messages.
    explicit GzipFileDecompressor(const std::string& path);

    /// Reads up to `count` bytes of text; -1 at the end. `source` is at the start of the file when the first
    /// read comes; its errors pass through.
    std::streamsize read(std::streambuf& source, char* buffer, std::streamsize count);

private:
    class Decoder;
    std::shared_ptr<Decoder> decoder;
};

}  // namespace Common
