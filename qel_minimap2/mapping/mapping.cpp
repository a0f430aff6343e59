#include "qel_minimap2/mapping/mapping.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include <mmpriv.h>

#include "qel_minimap2/kernel/own_calls.h"
#include "qel_minimap2/malloc_memory.h"
#include "qel_minimap2/mapping/buffer_pool.h"
#include "qel_minimap2/mapping/map_options.h"

namespace qel_minimap2 {

namespace {

std::mutex thresholds_mutex;
std::map<const mm_idx_t*, std::int32_t> thresholds;  // Guarded by thresholds_mutex.

BufferPool& Pool() {
    static BufferPool pool;
    return pool;
}

const Options& DefaultOptions() {
    static const Options options;
    return options;
}

// The hits of one read and their CIGARs, malloc'ed by minimap2.
class Hits {
public:
    Hits(const mm_idx_t& index, const mm_bseq1_t& read, const mm_mapopt_t& options, mm_tbuf_t* buffer)
        : hits(mm_map(&index, read.l_seq, read.seq, &count, buffer, &options, read.name)) {}
    Hits(const Hits&) = delete;
    Hits& operator=(const Hits&) = delete;
    ~Hits() {
        for (int i = 0; i < count; ++i) {
            std::free(hits[i].p);
        }
        std::free(hits);
    }

    int count = 0;
    mm_reg1_t* hits;
};

// A growing text, malloc'ed because the caller of the library frees it.
class MallocText {
public:
    void Append(std::string_view addition) {
        if (size + addition.size() + 1 > capacity) {
            capacity = std::max(2 * capacity, size + addition.size() + 1);
            void* const grown = std::realloc(text.get(), capacity);
            if (grown == nullptr) {
                throw std::bad_alloc();
            }
            static_cast<void>(text.release());
            text.reset(static_cast<char*>(grown));
        }
        std::memcpy(text.get() + size, addition.data(), addition.size());
        size += addition.size();
        text.get()[size] = '\0';
    }
    char* Release() { return text.release(); }

private:
    std::unique_ptr<char, Free> text;
    std::size_t size = 0;
    std::size_t capacity = 0;
};

// All records of one read. `rep_len` -1 leaves out the tag "rl", the length of repetitive seeds: it says nothing about
// the alignment.
char* WriteRecords(const mm_idx_t& index, const mm_bseq1_t& read, const Hits& hits, std::int64_t flag) {
    constexpr int kNoHit = -1;
    constexpr int kNoRepLen = -1;
    kstring_t record{};
    MallocText text;
    const auto write = [&](int hit) {
        const mm_reg1_t* const all_hits = hits.hits;
        mm_write_sam3(&record, &index, &read, 0, hit, 1, &hits.count, &all_hits, nullptr, flag, kNoRepLen);
        text.Append({record.s, record.l});
        text.Append("\n");
    };
    try {
        for (int hit = 0; hit < hits.count; ++hit) {
            write(hit);
        }
        if (hits.count == 0) {
            write(kNoHit);
        }
    } catch (...) {  // Nothing else frees the C text.
        std::free(record.s);
        throw;
    }
    std::free(record.s);
    return text.Release();
}

// The name as minimap2's own reader takes it, up to the first white space: a tab would end the record's first column.
std::string RecordName(std::string_view name) {
    std::string record_name(name.substr(0, name.find_first_of(" \t\n\v\f\r")));
    if (record_name.empty()) {
        throw std::invalid_argument("the read has no name");
    }
    if (record_name.front() == '@') {
        throw std::invalid_argument("the read's name begins with '@', as only header lines of SAM do");
    }
    return record_name;
}

char* EmptyRead(const std::string& name) {
    const auto record = name + "\t4\t*\t0\t0\t*\t*\t0\t0\t*\t*\n";
    MallocText text;
    text.Append(record);
    return text.Release();
}

mm_mapopt_t OptionsFor(const mm_idx_t& index, std::int32_t occ_threshold) {
    auto options = DefaultOptions().mapping;
    options.mid_occ = occ_threshold > 0 ? occ_threshold : OccurrenceThreshold(index);
    // Also derives what depends on the index; without it no seed passes the occurrence filter.
    mm_mapopt_update(&options, &index);
    return options;
}

}  // namespace

std::int32_t OccurrenceThreshold(const mm_idx_t& index) {
    const std::lock_guard lock(thresholds_mutex);
    const auto known = thresholds.find(&index);
    if (known != thresholds.end()) {
        return known->second;
    }
    auto options = DefaultOptions().mapping;
    mm_mapopt_update(&options, &index);
    return thresholds[&index] = options.mid_occ;
}

void ForgetIndex(const mm_idx_t& index) {
    {
        const std::lock_guard lock(thresholds_mutex);
        thresholds.erase(&index);
    }
    Pool().Clear();
}

char* Align(const mm_idx_t& index, std::int32_t occ_threshold, const mm_bseq1_t& read) {
    auto name = RecordName(read.name);
    if (read.l_seq == 0) {
        return EmptyRead(name);
    }
    const auto options = OptionsFor(index, occ_threshold);
    const auto buffer = Pool().Borrow();

    // minimap2 does not know U; its own reader replaces it by T. The copy is part of the buffer, to reuse its memory.
    auto& bases = buffer->bases;
    bases.assign(read.seq, static_cast<std::size_t>(read.l_seq));
    for (const auto& [uracil, thymine] : {std::pair('U', 'T'), std::pair('u', 't')}) {
        // Nearly all reads have none, and the search compares many letters at a time.
        if (bases.find(uracil) != std::string::npos) {
            std::replace(bases.begin(), bases.end(), uracil, thymine);
        }
    }

    mm_bseq1_t own{};
    own.l_seq = read.l_seq;
    own.name = name.data();
    own.seq = bases.data();
    const kernel::OwnCallsOfRead counted;
    const Hits hits(index, own, options, buffer->buffer.get());
    return WriteRecords(index, own, hits, options.flag);
}

}  // namespace qel_minimap2
