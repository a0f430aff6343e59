#include "common/reads/gzip_file_decompressor.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "common/gzip/gzip_decoder.h"
#include "common/gzip_head_start.h"
#include "common/logging/record.h"

namespace Common {

namespace {

class StreambufSource : public GzipSource {
public:
    std::streambuf* streambuf = nullptr;

    std::size_t Read(unsigned char* buffer, std::size_t size) override {
        if (streambuf->sgetc() == std::streambuf::traits_type::eof()) {
            return 0;
        }
        // Read only the available bytes: a pipe may take a long time to deliver more.
        const auto count = std::min(static_cast<std::streamsize>(size), streambuf->in_avail());
        return static_cast<std::size_t>(streambuf->sgetn(reinterpret_cast<char*>(buffer), count));
    }
    bool Seek(std::uint64_t position) override {
        const std::streampos wanted(static_cast<std::streamoff>(position));
        return streambuf->pubseekpos(wanted, std::ios_base::in) == wanted;
    }
};

}  // namespace

class GzipFileDecompressor::Decoder {
public:
    Decoder(const std::string& path, std::unique_ptr<GzipHeadStart> head_start)
        : path(path),
          head_start(std::move(head_start)),
          gzip(this->head_start ? nullptr : std::make_unique<GzipDecoder>()) {}

    std::streamsize Read(std::streambuf& source, char* buffer, std::streamsize count) {
        input.streambuf = &source;
        if (text.empty()) {
            text = head_start ? head_start->Next() : gzip->Next(input);
        }
        if (text.empty()) {
            ReportEnd();
            return -1;
        }
        const auto copied = text.copy(buffer, static_cast<std::size_t>(count));
        text.remove_prefix(copied);
        return static_cast<std::streamsize>(copied);
    }

private:
    void ReportEnd() {
        const bool first = !std::exchange(end_reported, true);
        const auto& used = head_start ? head_start->Decoder() : *gzip;
        if (!used.Failure().empty() && !(first && used.FailsAfterLastMember())) {
            throw std::runtime_error("gzip error in " + path + ": " + used.Failure() + ".");
        }
        if (first && used.Failure().empty() && used.IgnoredBytes() > 0) {
            TAVIK_LOG(warning) << "Ignored " << used.IgnoredBytes() << " bytes after the end of the gzip data in "
                               << path;
        }
    }

    const std::string path;
    const std::unique_ptr<GzipHeadStart> head_start;
    const std::unique_ptr<GzipDecoder> gzip;  // Null with a head start.
    StreambufSource input;
    std::string_view text;  // The text that is decoded but not yet returned.
    bool end_reported = false;
};

GzipFileDecompressor::GzipFileDecompressor(const std::string& path, std::unique_ptr<GzipHeadStart> head_start)
    : decoder(std::make_shared<Decoder>(path, std::move(head_start))) {}

std::streamsize GzipFileDecompressor::read(std::streambuf& source, char* buffer, std::streamsize count) {
    return decoder->Read(source, buffer, count);
}

}  // namespace Common
