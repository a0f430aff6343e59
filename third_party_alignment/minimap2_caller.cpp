#include "third_party_alignment/minimap2_caller.h"

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <stdexcept>
#include <string_view>

#include <boost/filesystem/operations.hpp>

#include "common/logging/record.h"
#include "third_party_alignment/mm_index_wrapper.h"
#include "third_party_alignment/sam_header.h"

/// Returns a malloc'ed "Hello World."; release it with free. The program exports this function, but does not call it. A
/// library loaded into the program can call it to check that calls into the program work.
extern "C" char* qelmm_test();

extern "C" char* qelmm_test() {
    return strdup("Hello World.");
}

// Declared weak, because a wrapper library may lack this function. Its address is then null.
extern "C" [[gnu::weak]] const char* qelmm_minimap2_version();

namespace ThirdPartyAlignment {

namespace {

// The origin in the log record of a read's SAM text: always Call, even if CallWithoutHeader was called.
constexpr char kCallOrigin[] =
    "virtual std::string ThirdPartyAlignment::Minimap2Caller::Call(const std::string&, const std::string&)";

struct UnloadIndex {
    void operator()(mm_idx_t* index) const { qelmm_unload_index(index); }
};

struct FreeText {
    void operator()(char* text) const { std::free(text); }
};

std::string FormatSamHeader(const mm_idx_t& index) {
    std::string header;
    for (std::uint32_t i = 0; i < index.n_seq; ++i) {
        // Names are deliberately never truncated.
        header.append("@SQ\tSN:").append(index.seq[i].name);
        header.append("\tLN:").append(std::to_string(index.seq[i].len)).append("\n");
    }
    return header;
}

// Returns the read in the wrapper's form. Only its name, bases and length are set.
mm_bseq1_t ToMinimapRead(const std::string& sequence, const std::string& read_name) {
    mm_bseq1_t read{};
    read.l_seq = static_cast<int>(sequence.size());
    // The members point to non-const text, but the wrapper does not write to that text.
    read.name = const_cast<char*>(read_name.c_str());  // NOLINT(cppcoreguidelines-pro-type-const-cast)
    read.seq = const_cast<char*>(sequence.c_str());    // NOLINT(cppcoreguidelines-pro-type-const-cast)
    read.qual = nullptr;
    return read;
}

}  // namespace

Minimap2Caller::Minimap2Caller(const std::string& index_file)
    : index_file(index_file), index_wrapper(std::make_shared<MMIndexWrapper>()) {
    boost::system::error_code ignored;
    if (!boost::filesystem::is_regular_file(index_file, ignored)) {
        throw std::runtime_error("Aligner index file " + index_file + " does not exist!");
    }
    TAVIK_LOG(verbose) << "Creating Minimap2Caller";
}

Minimap2Caller::~Minimap2Caller() {
    TAVIK_LOG(verbose) << "~Minimap2Caller() called. References to index: " << index_wrapper.use_count();
}

void Minimap2Caller::LoadIndex() {
    Loaded();
}

const MMIndexWrapper& Minimap2Caller::Loaded() const {
    if (index_wrapper->index == nullptr) {
        const auto guard = std::make_shared<std::lock_guard<std::mutex>>(index_wrapper->mutex);
        if (index_wrapper->index == nullptr) {
            std::unique_ptr<mm_idx_t, UnloadIndex> index(qelmm_load_index(index_file.c_str()));
            if (index) {
                index_wrapper->sam_header = std::make_unique<const SamHeader>(FormatSamHeader(*index));
                occ_threshold = qelmm_cache_idx_occ_thres(index.get());
                index_wrapper->index = index.release();
            }
        }
    }
    const mm_idx_t* const index = index_wrapper->index;
    if (index == nullptr) {
        throw std::runtime_error("Could not load index " + index_file);
    }
    if (index->n_seq == 0) {
        throw std::runtime_error("Minimap2 index contains 0 sequences.");
    }
    return *index_wrapper;
}

std::string Minimap2Caller::LibraryVersion() {
    return qelmm_minimap2_version != nullptr ? qelmm_minimap2_version() : "unknown";
}

std::string Minimap2Caller::GetSamHeader() {
    const auto& text = Header().Text();
    return text.substr(0, text.size() - 1);
}

const SamHeader& Minimap2Caller::Header() const {
    return *Loaded().sam_header;
}

std::string Minimap2Caller::Call(const std::string& sequence, const std::string& read_name) {
    auto sam = CallWithoutHeader(sequence, read_name);
    if (with_header) {
        sam.insert(0, Header().Text());
    }
    return sam;
}

std::string Minimap2Caller::CallWithoutHeader(const std::string& sequence, const std::string& read_name) {
    static constexpr std::string_view kError = "ERROR:";

    const auto& loaded = Loaded();
    std::unique_ptr<char, FreeText> answer(
        qelmm_align(loaded.index, occ_threshold, ToMinimapRead(sequence, read_name)));
    const std::string_view text = answer ? answer.get() : "";
    TAVIK_LOG_FROM(verbose, kCallOrigin) << "received SAM string: " << text;
    if (!answer) {
        throw std::runtime_error("Minimap2 returned NULL string");
    }
    if (text.empty() || text.starts_with(kError)) {
        // Not freed, because an answer that is not a record belongs to the wrapper.
        static_cast<void>(answer.release());
        throw std::runtime_error(text.empty() ? std::string("Minimap2 returned empty string")
                                              : "Minimap2 returned: " + std::string(text.substr(kError.size())));
    }
    return std::string(text);
}

std::shared_ptr<ExtAlignCaller> Minimap2Caller::Copy() const {
    TAVIK_LOG(verbose) << "Copying Minimap2Caller";
    return std::shared_ptr<ExtAlignCaller>(new Minimap2Caller(*this));
}

AlignmentResult Minimap2Caller::CreateUnalignedResult(const std::string& read_name) const {
    auto result = ExtAlignCaller::CreateUnalignedResult(read_name);
    result.sam_record.insert(0, Header().Text());
    return result;
}

}  // namespace ThirdPartyAlignment
