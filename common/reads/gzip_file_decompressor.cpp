#include "common/reads/gzip_file_decompressor.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <vector>

#include "common/logger.h"

namespace Common {

namespace io = boost::iostreams;

namespace {

std::string Reason(const io::gzip_error& error) {
    switch (error.error()) {
        case io::gzip::bad_crc:
            return "the checksum does not match, the data are corrupt";
        case io::gzip::bad_length:
            return "the length does not match, the data are corrupt";
        case io::gzip::bad_header:
            return "not in gzip format";
        case io::gzip::bad_footer:
            return "the file ends too early";
        default:
            return error.zlib_error_code() == io::zlib::buf_error ? "the file ends too early" : "the data are corrupt";
    }
}

// A file that remembers whether its end was met.
struct WatchedFile : InputFileSource {
    using InputFileSource::InputFileSource;

    std::streamsize read(char* buffer, std::streamsize count) {
        const auto got = InputFileSource::read(buffer, count);
        at_end = at_end || got < 0;
        return got;
    }

    bool at_end = false;
};

}  // namespace

GzipFileDecompressor::GzipFileDecompressor(const std::string& path) : path(path) {}

std::streamsize GzipFileDecompressor::Recover(const io::gzip_error& error, char* buffer, std::streamsize count) {
    const auto [saved, at_end] = Salvage(buffer, count);
    delivered += static_cast<std::uint64_t>(saved);
    // Behind complete data the header of one more member may be no header at all, or cut short by the file's end.
    const bool further_member = error.error() == io::gzip::bad_header && delivered > 0;
    trailing_bytes = further_member && !at_end;
    const std::string reason = further_member ? "the file ends too early" : Reason(error);
    failure = std::make_exception_ptr(std::runtime_error("gzip error in " + path + ": " + reason));
    return saved > 0 ? saved : Fail();
}

GzipFileDecompressor::Salvaged GzipFileDecompressor::Salvage(char* buffer, std::streamsize count) const {
    // Only a regular file can be read a second time; of any other the worst is believed.
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(path, ignored)) {
        return {0, true};
    }
    WatchedFile source(path);
    io::gzip_decompressor decompressor;
    std::streamsize saved = 0;
    try {
        std::vector<char> skipped(1 << 16);
        for (auto left = delivered; left > 0;) {
            const auto step = std::min<std::uint64_t>(left, skipped.size());
            const auto got = decompressor.read(source, skipped.data(), static_cast<std::streamsize>(step));
            if (got < 0) {
                return {0, true};
            }
            left -= static_cast<std::uint64_t>(got);
        }
        // One byte at a time: a read that throws has then lost nothing.
        while (saved < count && decompressor.read(source, buffer + saved, 1) == 1) {
            ++saved;
        }
    } catch (const std::exception&) {
        // The failure that is being recovered from; its reason has been kept.
    }
    return {saved, source.at_end};
}

std::streamsize GzipFileDecompressor::Fail() {
    if (trailing_bytes) {
        TAVIK_LOG(warning) << "Ignored the bytes after the end of the gzip data in " << path;
        trailing_bytes = false;
        failure = nullptr;
        return -1;
    }
    std::rethrow_exception(failure);
}

}  // namespace Common
