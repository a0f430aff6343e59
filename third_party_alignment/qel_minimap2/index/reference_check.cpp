#include "third_party_alignment/qel_minimap2/index/reference_check.h"

#include <algorithm>
#include <cctype>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string_view>

#include <kseq.h>

#include "third_party_alignment/qel_minimap2/index/sequence_name.h"
#include "third_party_alignment/qel_minimap2/index/text_input.h"

namespace qel_minimap2 {

namespace {

// What the parser reads. It skips whatever stands before the first ">" or "@"; only blanks may.
struct CheckedText {
    TextInput input;
    bool has_begun = false;
};

int ReadChecked(CheckedText* text, void* buffer, int size) {
    const int count = text->input.Read(buffer, size);
    if (!text->has_begun) {
        const std::string_view read(static_cast<const char*>(buffer), static_cast<std::size_t>(count));
        const auto first = read.find_first_not_of(" \t\r\n");
        text->has_begun = first != std::string_view::npos;
        if (text->has_begun && read[first] != '>' && read[first] != '@') {
            throw std::runtime_error("is neither a minimap2 index nor a FASTA or FASTQ file");
        }
    }
    return count;
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wunused-function"
#pragma GCC diagnostic ignored "-Wsign-compare"
#pragma GCC diagnostic ignored "-Wcast-qual"
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wsign-conversion"
KSEQ_INIT(CheckedText*, ReadChecked)
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
    const std::string name(record.name.s, record.name.l);
    if (const char* const fault = FaultOfSequenceName(name)) {
        throw std::runtime_error(std::string("holds ") + fault);
    }
    if (record.seq.l > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) {
        throw std::runtime_error("sequence '" + name + "' is longer than 2^31 - 1 bases");
    }
    const std::string_view bases(record.seq.s, record.seq.l);
    if (!std::all_of(bases.begin(), bases.end(), IsSequenceByte)) {
        throw std::runtime_error("sequence '" + name + "' holds bytes that are no bases");
    }
}

}  // namespace

void CheckReferenceFile(const std::string& path) {
    constexpr int kCutQualities = -2;
    CheckedText text{.input = TextInput(path)};
    const std::unique_ptr<kseq_t, DestroyParser> record(kseq_init(&text));
    int result = 0;
    while ((result = kseq_read(record.get())) >= 0) {
        CheckSequence(*record);
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
