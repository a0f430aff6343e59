#include "common/gzip/gzip_decoder.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <vector>

#include <isa-l/igzip_lib.h>
#include <zlib.h>

namespace Common {

namespace {

constexpr std::size_t kInputSize = 1 << 16;
constexpr std::size_t kTextSize = 1 << 18;  // Larger than ISA-L's own buffer, so each call empties that buffer.
constexpr int kGzipWindow = 15 + 16;        // The largest window, and gzip framing only.
constexpr int kMostIgnored = 512;

enum class Phase { between_members, header, fast, exact, end };

}  // namespace

// zlib reads the header of each member. ISA-L, which is twice as fast, then decompresses the data of the member. ISA-L
// does not return all text before a corruption or before the end of a truncated file. zlib therefore decompresses a
// damaged member a second time: it skips the text already returned, returns the rest and reports the reason. A pipe
// cannot be read twice, so zlib alone decompresses its data.
struct GzipDecoder::State {
    Phase phase = Phase::between_members;
    bool seekable = false;
    z_stream exact{};  // All phases take their input from its next_in and avail_in.
    inflate_state fast{};
    std::vector<Bytef> input = std::vector<Bytef>(kInputSize);
    std::vector<char> output = std::vector<char>(kTextSize);
    std::string_view text;         // The text decoded by the latest step.
    std::uint64_t input_end = 0;   // Offset in the source at which the input ends.
    std::uint64_t body = 0;        // Offset in the source at which the member's compressed data begin.
    std::uint64_t handed_out = 0;  // Bytes of the member's text that zlib must still skip if it decodes the member.
};

GzipDecoder::GzipDecoder() : state(std::make_unique<State>()) {
    state->exact.next_in = state->input.data();
    if (inflateInit2(&state->exact, kGzipWindow) != Z_OK) {
        throw std::bad_alloc();
    }
}

GzipDecoder::~GzipDecoder() {
    inflateEnd(&state->exact);
}

std::string_view GzipDecoder::Next(GzipSource& source) {
    state->text = {};
    while (state->text.empty() && state->phase != Phase::end) {
        Decode(source);
    }
    return state->text;
}

void GzipDecoder::Decode(GzipSource& source) {
    if (state->phase == Phase::between_members) {
        FindMember(source);
        return;
    }
    Have(source, 1);
    if (state->phase == Phase::fast) {
        DecodeFast(source);
    } else {
        DecodeExact();
    }
}

// Reads until at least `bytes` bytes are available at exact.next_in. Returns false if the source ends earlier.
bool GzipDecoder::Have(GzipSource& source, unsigned bytes) {
    auto& exact = state->exact;
    auto& input = state->input;
    while (exact.avail_in < bytes) {
        std::memmove(input.data(), exact.next_in, exact.avail_in);
        exact.next_in = input.data();
        const auto got = source.Read(input.data() + exact.avail_in, input.size() - exact.avail_in);
        if (got == 0) {
            return false;
        }
        exact.avail_in += static_cast<unsigned>(got);
        state->input_end += got;
    }
    return true;
}

unsigned char GzipDecoder::Take() {
    --state->exact.avail_in;
    return *state->exact.next_in++;
}

void GzipDecoder::FindMember(GzipSource& source) {
    const auto& exact = state->exact;
    const bool first = state->input_end == 0;
    if (first) {
        state->seekable = source.Seek(0);
    }
    while (Have(source, 1) && *exact.next_in == 0 && !first) {
        Take();
    }
    const bool whole = Have(source, 2);
    if (exact.avail_in > 0 && exact.next_in[0] == 0x1f && (!whole || exact.next_in[1] == 0x8b)) {
        state->phase = Phase::header;
    } else if (first) {
        Fail("not in gzip format");
    } else {
        SkipTrailingBytes(source);
    }
}

void GzipDecoder::SkipTrailingBytes(GzipSource& source) {
    std::uint32_t latest = 0;
    while (ignored <= kMostIgnored && latest != 0x1f8b08 && Have(source, 1)) {
        latest = (latest << 8U | Take()) & 0xFFFFFFU;
        ignored += (latest & 0xFFU) != 0 ? 1 : 0;
    }
    if (ignored > kMostIgnored || latest == 0x1f8b08) {
        Fail(
            "a member is followed by more than 512 bytes that are not gzip data, or by any number of such bytes and "
            "then another member");
        fails_after_last_member = true;
    }
    state->phase = Phase::end;
}

void GzipDecoder::DecodeFast(GzipSource& source) {
    auto& fast = state->fast;
    auto& exact = state->exact;
    fast.next_in = exact.next_in;
    fast.avail_in = exact.avail_in;
    fast.next_out = reinterpret_cast<std::uint8_t*>(state->output.data());
    fast.avail_out = kTextSize;
    const bool failed = isal_inflate(&fast) < 0;
    const auto made = kTextSize - fast.avail_out;
    const bool done = fast.block_state == ISAL_BLOCK_FINISH;
    if (failed || (made == 0 && fast.avail_in == exact.avail_in && !done)) {
        source.Seek(state->body);
        state->input_end = state->body;
        exact.avail_in = 0;
        state->phase = Phase::exact;
        return;
    }
    exact.next_in = fast.next_in;
    exact.avail_in = fast.avail_in;
    state->text = {state->output.data(), made};
    state->handed_out += made;
    if (done) {
        EndMember();
    }
}

void GzipDecoder::DecodeExact() {
    auto& exact = state->exact;
    exact.next_out = reinterpret_cast<Bytef*>(state->output.data());
    exact.avail_out = kTextSize;
    const int result = inflate(&exact, state->phase == Phase::header ? Z_BLOCK : Z_NO_FLUSH);
    state->text = {state->output.data(), kTextSize - exact.avail_out};
    const auto known = std::min<std::uint64_t>(state->handed_out, state->text.size());
    state->text.remove_prefix(known);
    state->handed_out -= known;
    if (result == Z_STREAM_END) {
        EndMember();
    } else if (result == Z_BUF_ERROR) {
        Fail("the file ends too early");
    } else if (result != Z_OK) {
        Fail(std::string("the data are corrupt: ") + (exact.msg != nullptr ? exact.msg : zError(result)));
    } else if (state->phase == Phase::header && (exact.data_type & 128) != 0) {  // The first block comes next.
        state->body = state->input_end - exact.avail_in;
        isal_inflate_init(&state->fast);
        state->fast.crc_flag = ISAL_GZIP_NO_HDR_VER;
        state->phase = state->seekable ? Phase::fast : Phase::exact;
    }
}

void GzipDecoder::EndMember() {
    inflateReset(&state->exact);
    state->handed_out = 0;
    state->phase = Phase::between_members;
}

void GzipDecoder::Fail(const std::string& reason) {
    failure = reason;
    state->phase = Phase::end;
}

}  // namespace Common
