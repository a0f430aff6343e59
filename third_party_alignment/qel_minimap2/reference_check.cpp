#include "third_party_alignment/qel_minimap2/reference_check.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <type_traits>

#include <kseq.h>
#include <zlib.h>

namespace qel_minimap2 {

namespace {

struct CloseGzip {
    void operator()(gzFile file) const { gzclose(file); }
};

// A gzip stream whose errors are kept: the parser takes them for the end of the file.
struct CheckedStream {
    std::unique_ptr<std::remove_pointer_t<gzFile>, CloseGzip> file;
    std::string error;
};

int ReadChecked(CheckedStream* stream, void* buffer, int size) {
    const int got = gzread(stream->file.get(), buffer, static_cast<unsigned>(size));
    if (got >= size) {
        return got;
    }
    int code = Z_OK;
    const char* const text = gzerror(stream->file.get(), &code);
    if (code == Z_ERRNO) {
        stream->error = std::generic_category().message(errno);
    } else if (code == Z_BUF_ERROR) {
        stream->error = "the gzip data end too early";
    } else if (code != Z_OK && code != Z_STREAM_END) {
        // zlib puts the path in front, which the message has already.
        const std::string_view reason(text);
        const auto colon = reason.rfind(": ");
        stream->error = "the gzip data are damaged (" +
                        std::string(colon == std::string_view::npos ? reason : reason.substr(colon + 2)) +
                        ")";
    }
    return std::max(got, 0);
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wunused-function"
#pragma GCC diagnostic ignored "-Wsign-compare"
#pragma GCC diagnostic ignored "-Wcast-qual"
KSEQ_INIT(CheckedStream*, ReadChecked)
#pragma GCC diagnostic pop

struct DestroyParser {
    void operator()(kseq_t* parser) const { kseq_destroy(parser); }
};

// Letters of any alphabet of bases, gaps, and what line ends may leave.
bool IsSequenceByte(char c) {
    return std::isalpha(static_cast<unsigned char>(c)) != 0 ||
           std::string_view("-*. \t\r").find(c) != std::string_view::npos;
}

void CheckSequence(const kseq_t& record) {
    if (record.name.l == 0) {
        throw std::runtime_error("holds a sequence without a name");
    }
    const std::string name(record.name.s, record.name.l);
    if (record.seq.l > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) {
        throw std::runtime_error("sequence '" + name + "' is longer than 2^31 - 1 bases");
    }
    const std::string_view bases(record.seq.s, record.seq.l);
    if (!std::all_of(bases.begin(), bases.end(), IsSequenceByte)) {
        throw std::runtime_error("sequence '" + name + "' holds bytes that are no bases");
    }
}

// The first character of the text. The parser skips what stands before the first ">" or "@".
void CheckFirstCharacter(gzFile file) {
    const int first = gzgetc(file);
    if (first != -1 && first != '>' && first != '@') {
        throw std::runtime_error("is neither a minimap2 index nor a FASTA or FASTQ file");
    }
    if (first != -1) {
        gzungetc(first, file);
    }
}

}  // namespace

void CheckReferenceFile(const std::string& path) {
    constexpr int kCutQualities = -2;
    CheckedStream stream{.file = {gzopen(path.c_str(), "r"), {}}, .error = {}};
    if (!stream.file) {
        throw std::runtime_error(std::generic_category().message(errno));
    }
    gzbuffer(stream.file.get(), 1 << 18);
    CheckFirstCharacter(stream.file.get());

    const std::unique_ptr<kseq_t, DestroyParser> record(kseq_init(&stream));
    int result = 0;
    while ((result = kseq_read(record.get())) >= 0 && stream.error.empty()) {
        CheckSequence(*record);
    }
    if (!stream.error.empty()) {
        throw std::runtime_error(stream.error);
    }
    if (result == kCutQualities) {
        throw std::runtime_error("the qualities of sequence '" + std::string(record->name.s, record->name.l) +
                                 "' are not as many as its bases");
    }
    if (result < kCutQualities) {
        throw std::runtime_error("holds a sequence longer than 2^31 - 1 bases");
    }
}

}  // namespace qel_minimap2
