#include "qel_minimap2/index/from_fasta/reference_reader.h"

#include <array>
#include <cctype>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string_view>

#include <kseq.h>

#include "qel_minimap2/index/from_fasta/text_input.h"
#include "qel_minimap2/malloc_memory.h"

namespace qel_minimap2 {

namespace {

constexpr std::size_t kLongestSequence = std::numeric_limits<std::int32_t>::max();

// The parser's input. The parser would skip any text before the first ">" or "@"; this input allows only white space
// there.
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

// The parser does not check whether it got memory, so the macro below makes it call these functions, which throw.
void* malloc(std::size_t size) {
    return RequireMemory(std::malloc(size));
}
void* calloc(std::size_t count, std::size_t size) {
    return RequireMemory(std::calloc(count, size));
}
void* realloc(void* memory, std::size_t size) {
    return RequireMemory(std::realloc(memory, size));
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

// False for letters, for the gap symbols "-", "*" and ".", and for blanks, tabs and carriage returns, which some files
// have at the ends of lines. True for all other bytes.
std::array<bool, 256> MakeIsNotBase() {
    std::array<bool, 256> is_not_base{};
    for (unsigned byte = 0; byte < is_not_base.size(); ++byte) {
        is_not_base[byte] = std::isalpha(static_cast<int>(byte)) == 0 &&
                            std::string_view("-*. \t\r").find(static_cast<char>(byte)) == std::string_view::npos;
    }
    return is_not_base;
}

void Append(const kseq_t& record, Reference& reference) {
    constexpr std::size_t kPart = 1 << 15;  // Small enough that the letters are still cached when they are packed.
    static const auto is_not_base = MakeIsNotBase();
    const std::string name(record.name.s, record.name.l);
    if (const char* const fault = FaultOfSequenceName(name)) {
        throw std::runtime_error(std::string("holds ") + fault);
    }
    if (record.seq.l > kLongestSequence) {
        throw std::runtime_error("sequence '" + name + "' is longer than 2^31 - 1 bases");
    }
    reference.sequences.push_back({name, reference.bases.Count(), static_cast<std::uint32_t>(record.seq.l)});
    const std::string_view letters(record.seq.s != nullptr ? record.seq.s : "", record.seq.l);
    for (std::size_t at = 0; at < letters.size(); at += kPart) {
        const auto part = letters.substr(at, kPart);
        unsigned bad = 0;
        for (const char c : part) {
            bad |= static_cast<unsigned>(is_not_base[static_cast<unsigned char>(c)]);
        }
        if (bad != 0) {
            throw std::runtime_error("sequence '" + name + "' holds bytes that are not bases");
        }
        reference.bases.Append(part);
    }
}

}  // namespace

Reference ReadReference(const std::string& path) {
    constexpr int kCutQualities = -2;
    CheckedText text{.input = TextInput(path)};
    const std::unique_ptr<kseq_t, DestroyParser> record(kseq_init(&text));
    Reference reference;
    int result = 0;
    while ((result = kseq_read(record.get())) >= 0) {
        Append(*record, reference);
    }
    // The parser returns the lowest 32 bits of the length, which may equal its result for the end of the text.
    if (record->seq.l > kLongestSequence) {
        throw std::runtime_error("holds a sequence longer than 2^31 - 1 bases");
    }
    if (result == kCutQualities) {
        throw std::runtime_error("sequence '" + std::string(record->name.s, record->name.l) +
                                 "' has a different number of qualities than bases");
    }
    return reference;
}

}  // namespace qel_minimap2
