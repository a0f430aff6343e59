#include "qel_minimap2/mapping/mapping.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include <mmpriv.h>

#include "qel_minimap2/index/seed_table.h"
#include "qel_minimap2/kernel/own_calls.h"
#include "qel_minimap2/kernel/scratch.h"
#include "qel_minimap2/malloc_memory.h"
#include "qel_minimap2/mapping/map_options.h"
#include "qel_minimap2/mapping/mapping_buffer.h"
#include "qel_minimap2/mapping/seed_collection.h"

namespace qel_minimap2 {

namespace {

const Options& DefaultOptions() {
    static const Options options;
    return options;
}

// Frees the hits of one read and their CIGARs, which minimap2 malloc'ed.
struct FreeHits {
    int count;
    void operator()(mm_reg1_t* hits) const {
        std::for_each(hits, hits + count, [](const mm_reg1_t& hit) { std::free(hit.p); });
        std::free(hits);
    }
};
using Hits = std::unique_ptr<mm_reg1_t, FreeHits>;

// The text is malloc'ed, because the caller of the library frees it.
using MallocedText = std::unique_ptr<char, Free>;

// Appends a record and a line feed to `text`, which has `size` bytes. Takes over the record's memory. The memory of the
// first record becomes that of the text if it has room for the line feed.
void AppendLine(const kstring_t& record, MallocedText& text, std::size_t& size) {
    MallocedText taken(record.s);
    if (text == nullptr && record.l + 2 <= record.m) {
        text = std::move(taken);
    } else {
        auto* const larger = RequireMemory(static_cast<char*>(std::realloc(text.get(), size + record.l + 2)));
        static_cast<void>(text.release());
        text.reset(larger);
        std::memcpy(larger + size, record.s, record.l);
    }
    size += record.l;
    std::memcpy(text.get() + size++, "\n", 2);
}

// Returns all records of one read. They lack the tag "rl", the number of bases in repetitive seeds, because it does not
// describe the alignment.
MallocedText Records(const mm_idx_t& index, const mm_bseq1_t& read, const Hits& hits, std::int64_t flag) {
    constexpr int kNoHit = -1;
    constexpr int kNoRepLen = -1;
    const int count = hits.get_deleter().count;
    const mm_reg1_t* const all_hits = hits.get();
    constexpr int kUsualRest = 1024;  // In bytes: enough for a short read's record without the bases.
    MallocedText records;
    std::size_t size = 0;
    for (int hit = count > 0 ? 0 : kNoHit; hit < count; ++hit) {
        // minimap2 would enlarge a small text several times.
        const auto room = static_cast<std::size_t>(read.l_seq) + kUsualRest;
        kstring_t record{0, room, RequireMemory(static_cast<char*>(std::malloc(room)))};
        mm_write_sam3(&record, &index, &read, 0, hit, 1, &count, &all_hits, nullptr, flag, kNoRepLen);
        AppendLine(record, records, size);
    }
    return records;
}

// Returns the part of a name before the first white space, as minimap2's own reader does. A tab in the name would end
// the record's first column.
std::string RecordName(std::string_view name) {
    std::string record_name(name.substr(0, name.find_first_of(" \t\n\v\f\r")));
    if (record_name.empty()) {
        throw std::invalid_argument("the read has no name");
    }
    if (record_name.front() == '@') {
        throw std::invalid_argument("the read's name begins with '@', which marks header lines in SAM");
    }
    return record_name;
}

mm_mapopt_t OptionsFor(const mm_idx_t& index, std::int32_t occ_threshold) {
    auto options = DefaultOptions().mapping;
    options.mid_occ = std::max(occ_threshold, 0);
    // If `mid_occ` is 0, sets it to the index's threshold. Also adjusts options that depend on each other.
    mm_mapopt_update(&options, &index);
    return options;
}

}  // namespace

std::int32_t OccurrenceThreshold(const mm_idx_t& index) {
    return OptionsFor(index, 0).mid_occ;
}

void FreeIdleBuffers() {
    MappingBuffer::FreeIdle();
    kernel::FreeIdleScratch();
}

char* Align(const mm_idx_t& index, std::int32_t occ_threshold, const mm_bseq1_t& read) {
    auto name = RecordName(read.name);
    if (read.l_seq == 0) {
        return RequireMemory(::strdup((name + "\t4\t*\t0\t0\t*\t*\t0\t0\t*\t*\n").c_str()));
    }
    const auto options = OptionsFor(index, occ_threshold);
    MappingBuffer buffer;

    // Replaces U with T as minimap2's own reader does, because records repeat the letters of the read. The copy of the
    // bases belongs to the buffer, which reuses its memory.
    auto& bases = buffer.Bases();
    bases.assign(read.seq, static_cast<std::size_t>(read.l_seq));
    for (const auto& [uracil, thymine] : {std::pair('U', 'T'), std::pair('u', 't')}) {
        // Searching first is faster, because nearly all reads have no such letter, and find compares many letters at
        // once.
        if (bases.find(uracil) != std::string::npos) {
            std::replace(bases.begin(), bases.end(), uracil, thymine);
        }
    }

    mm_bseq1_t own{};
    own.l_seq = read.l_seq;
    own.name = name.data();
    own.seq = bases.data();
    const kernel::OwnCallsOfRead counted;
    int count = 0;
    auto* const found = mm_map(&index, own.l_seq, own.seq, &count, buffer.OfMinimap2(), &options, own.name);
    const Hits hits(found, FreeHits{count});
    const bool is_damaged = TookImpossibleHits();
    auto records = is_damaged ? MallocedText() : Records(index, own, hits, options.flag);
    if (const auto* const table = SeedTable::Of(index); table != nullptr) {
        table->RequireUnchanged();
    }
    if (is_damaged) {
        throw std::runtime_error("the index is damaged: a minimizer of the read has invalid positions");
    }
    return records.release();
}

}  // namespace qel_minimap2
