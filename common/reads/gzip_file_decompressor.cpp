#include "common/reads/gzip_file_decompressor.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include <isa-l/igzip_lib.h>
#include <zlib.h>

#include "common/logging/record.h"

namespace Common {

namespace {

constexpr std::size_t kInputSize = 1 << 16;
constexpr std::size_t kTextSize = 1 << 18;  // Larger than ISA-L's own buffer: each call hands over all it has.
constexpr int kGzipWindow = 15 + 16;        // The largest window; gzip framing alone.
constexpr int kMostIgnored = 512;

}  // namespace

// zlib reads each member's header, then ISA-L, which is twice as fast, decompresses its data. ISA-L does not hand
// out all the text before a damage or before the end of a cut file. zlib therefore decompresses such a member a
// second time: it skips what has been handed out, gives the rest and names the reason. A pipe cannot be read a
// second time, so zlib alone decompresses it.
class GzipFileDecompressor::Decoder {
public:
    explicit Decoder(const std::string& path) : path(path) {
        exact.next_in = input.data();
        if (inflateInit2(&exact, kGzipWindow) != Z_OK) {
            throw std::bad_alloc();
        }
    }
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;
    ~Decoder() { inflateEnd(&exact); }

    std::streamsize Read(std::streambuf& source, char* buffer, std::streamsize count) {
        while (text.empty()) {
            if (phase == Phase::end) {
                if (failure.empty() || !std::exchange(end_told, true)) {
                    return -1;
                }
                throw std::runtime_error("gzip error in " + path + ": " + failure);
            }
            Decode(source);
        }
        const auto copied = text.copy(buffer, static_cast<std::size_t>(count));
        text.remove_prefix(copied);
        return static_cast<std::streamsize>(copied);
    }

private:
    enum class Phase { between_members, header, fast, exact, end };

    void Decode(std::streambuf& source) {
        if (phase == Phase::between_members) {
            FindMember(source);
            return;
        }
        Have(source, 1);
        if (phase == Phase::fast) {
            DecodeFast(source);
        } else {
            DecodeExact();
        }
    }

    // Reads on until at least `bytes` bytes lie at exact.next_in. False when the file ends before.
    bool Have(std::streambuf& source, unsigned bytes) {
        while (exact.avail_in < bytes && source.sgetc() != std::streambuf::traits_type::eof()) {
            std::memmove(input.data(), exact.next_in, exact.avail_in);
            exact.next_in = input.data();
            const auto room = static_cast<std::streamsize>(input.size() - exact.avail_in);
            const auto got =
                source.sgetn(reinterpret_cast<char*>(input.data() + exact.avail_in), std::min(room, source.in_avail()));
            exact.avail_in += static_cast<unsigned>(got);
            input_end += got;
        }
        return exact.avail_in >= bytes;
    }

    unsigned char Take() {
        --exact.avail_in;
        return *exact.next_in++;
    }

    void FindMember(std::streambuf& source) {
        const bool first = input_end == 0;
        if (first) {
            seekable = source.pubseekpos(0, std::ios_base::in) == std::streampos(0);
        }
        while (Have(source, 1) && *exact.next_in == 0 && !first) {
            Take();
        }
        const bool whole = Have(source, 2);
        if (exact.avail_in > 0 && exact.next_in[0] == 0x1f && (!whole || exact.next_in[1] == 0x8b)) {
            phase = Phase::header;
        } else if (first) {
            Fail("not in gzip format");
        } else {
            SkipTrailingBytes(source);
        }
    }

    void SkipTrailingBytes(std::streambuf& source) {
        int ignored = 0;
        std::uint32_t latest = 0;
        while (ignored <= kMostIgnored && latest != 0x1f8b08 && Have(source, 1)) {
            latest = (latest << 8U | Take()) & 0xFFFFFFU;
            ignored += (latest & 0xFFU) != 0 ? 1 : 0;
        }
        if (ignored > kMostIgnored || latest == 0x1f8b08) {
            failure = "bytes that are no gzip data stand behind a member, and more data behind them";
        } else if (ignored > 0) {
            TAVIK_LOG(warning) << "Ignored " << ignored << " bytes after the end of the gzip data in " << path;
        }
        phase = Phase::end;
    }

    void DecodeFast(std::streambuf& source) {
        fast.next_in = exact.next_in;
        fast.avail_in = exact.avail_in;
        fast.next_out = reinterpret_cast<std::uint8_t*>(output.data());
        fast.avail_out = kTextSize;
        const bool failed = isal_inflate(&fast) < 0;
        const auto made = kTextSize - fast.avail_out;
        const bool done = fast.block_state == ISAL_BLOCK_FINISH;
        if (failed || (made == 0 && fast.avail_in == exact.avail_in && !done)) {
            source.pubseekpos(body, std::ios_base::in);
            input_end = body;
            exact.avail_in = 0;
            phase = Phase::exact;
            return;
        }
        exact.next_in = fast.next_in;
        exact.avail_in = fast.avail_in;
        text = {output.data(), made};
        handed_out += made;
        if (done) {
            EndMember();
        }
    }

    void DecodeExact() {
        exact.next_out = reinterpret_cast<Bytef*>(output.data());
        exact.avail_out = kTextSize;
        const int result = inflate(&exact, phase == Phase::header ? Z_BLOCK : Z_NO_FLUSH);
        text = {output.data(), kTextSize - exact.avail_out};
        const auto known = std::min<std::uint64_t>(handed_out, text.size());
        text.remove_prefix(known);
        handed_out -= known;
        if (result == Z_STREAM_END) {
            EndMember();
        } else if (result == Z_BUF_ERROR) {
            Fail("the file ends too early");
        } else if (result != Z_OK) {
            Fail(std::string("the data are corrupt: ") + (exact.msg != nullptr ? exact.msg : zError(result)));
        } else if (phase == Phase::header && (exact.data_type & 128) != 0) {  // The first block comes next.
            body = input_end - exact.avail_in;
            isal_inflate_init(&fast);
            fast.crc_flag = ISAL_GZIP_NO_HDR_VER;
            phase = seekable ? Phase::fast : Phase::exact;
        }
    }

    void EndMember() {
        inflateReset(&exact);
        handed_out = 0;
        phase = Phase::between_members;
    }

    void Fail(const std::string& reason) {
        failure = reason;
        end_told = true;
        phase = Phase::end;
    }

    const std::string path;
    Phase phase = Phase::between_members;
    bool seekable = false;
    z_stream exact{};  // Its input is the input of all phases.
    inflate_state fast{};
    std::vector<Bytef> input = std::vector<Bytef>(kInputSize);
    std::vector<char> output = std::vector<char>(kTextSize);
    std::string_view text;         // The part of the output that has not been handed out.
    std::streamoff input_end = 0;  // How far into the file the input reaches.
    std::streamoff body = 0;       // Where the member's compressed data begin in the file.
    std::uint64_t handed_out = 0;  // Bytes of this member's text that zlib skips when it takes over.
    std::string failure;           // What a read throws when all text has been handed out.
    bool end_told = false;         // False while one read has to tell the end before another throws.
};

GzipFileDecompressor::GzipFileDecompressor(const std::string& path) : decoder(std::make_shared<Decoder>(path)) {}

std::streamsize GzipFileDecompressor::read(std::streambuf& source, char* buffer, std::streamsize count) {
    return decoder->Read(source, buffer, count);
}

}  // namespace Common
