#pragma once

#include <cstdint>
#include <exception>
#include <ios>
#include <string>

#include <boost/iostreams/filter/gzip.hpp>

#include "common/reads/input_file_source.h"

namespace Common {

/// A gzip_decompressor for damaged files. The library's own loses, together with the error, everything that
/// the failing read had decompressed; this one hands out every byte before the damage first and then throws
/// an error that names the file and the damage. Bytes after a complete gzip member that are no gzip data are
/// logged as a warning and end the text, as the gzip program does. One thread.
class GzipFileDecompressor : public boost::iostreams::gzip_decompressor {
public:
    /// `path`: the file that the filter's source reads, for messages and for reading it again after an error.
    explicit GzipFileDecompressor(const std::string& path);

    /// Reads up to `count` decompressed bytes; -1 at the end. Throws std::runtime_error for damaged data and
    /// passes the source's errors on.
    template <typename Source>
    std::streamsize read(Source& source, char* buffer, std::streamsize count) {
        if (failure) {
            return Fail();
        }
        try {
            const auto got = boost::iostreams::gzip_decompressor::read(source, buffer, count);
            delivered += got > 0 ? static_cast<std::uint64_t>(got) : 0;
            return got;
        } catch (const boost::iostreams::gzip_error& error) {
            return Recover(error, buffer, count);
        }
    }

private:
    struct Salvaged {
        std::streamsize count;  // Bytes before the damage that had not been handed out.
        bool at_end;            // The damage is that the file ends.
    };

    std::streamsize Recover(const boost::iostreams::gzip_error& error, char* buffer, std::streamsize count);
    Salvaged Salvage(char* buffer, std::streamsize count) const;
    std::streamsize Fail();

    std::string path;
    std::uint64_t delivered = 0;  // Bytes handed out so far.
    bool trailing_bytes = false;  // The failure is no damage, but bytes after the end.
    std::exception_ptr failure;   // Thrown once all that could be saved has been handed out.
};

}  // namespace Common
