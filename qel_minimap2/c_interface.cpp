#include "qel_minimap2/qel_minimap2.h"

#include <cstddef>
#include <exception>
#include <iostream>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>

#include "qel_minimap2/index/index_loading.h"
#include "qel_minimap2/index/mapped/mapped_index.h"
#include "qel_minimap2/index/mapped/new_file.h"
#include "qel_minimap2/index/parallel.h"
#include "qel_minimap2/kernel/kernels.h"
#include "qel_minimap2/kernel/own_calls.h"
#include "qel_minimap2/mapping/map_options.h"
#include "qel_minimap2/mapping/mapping.h"
#include "qel_minimap2/processor.h"

namespace {

// Callers do not free failure texts, so each thread keeps its latest one.
char* Failure(const char* reason) noexcept {
    static thread_local std::string text;
    static char out_of_memory[] = "ERROR: out of memory";
    try {
        text = std::string("ERROR: ") + reason;
        return text.data();
    } catch (const std::exception&) {
        return out_of_memory;
    }
}

const char* ReasonOf(const std::exception& error) noexcept {
    return dynamic_cast<const std::bad_alloc*>(&error) != nullptr ? "out of memory" : error.what();
}

// Runs `action` and returns the text of its failure, or null if it succeeds.
template <typename Action>
char* FailureOf(const Action& action) noexcept {
    try {
        action();
        return nullptr;
    } catch (const std::exception& error) {
        return Failure(ReasonOf(error));
    }
}

void Complain(const char* path, const char* reason) noexcept {
    try {
        std::cerr << std::string("libqel_minimap2: ") + path + ": " + reason + "\n" << std::flush;
    } catch (const std::exception&) {
        // There is no memory for the message; the null result alone reports the failure.
    }
}

}  // namespace

mm_idx_t* qelmm_load_index(const char* path) {
    path = path != nullptr ? path : "";
    try {
        if (const char* const fault = qel_minimap2::ProcessorFault()) {
            throw std::runtime_error(fault);
        }
        return qel_minimap2::LoadIndex(path, qel_minimap2::Options().indexing).release();
    } catch (const std::exception& error) {
        Complain(path, ReasonOf(error));
        return nullptr;
    }
}

std::int32_t qelmm_cache_idx_occ_thres(const mm_idx_t* index) {
    try {
        return index != nullptr ? qel_minimap2::OccurrenceThreshold(*index) : 0;
    } catch (const std::exception&) {
        return 0;
    }
}

char* qelmm_align(const mm_idx_t* index, std::int32_t occ_threshold, mm_bseq1_t read) {
    if (index == nullptr || read.name == nullptr || (read.seq == nullptr && read.l_seq > 0) || read.l_seq < 0) {
        return Failure("an index and a read with a name and a sequence are needed");
    }
    char* records = nullptr;
    char* const failure = FailureOf([&] { records = qel_minimap2::Align(*index, occ_threshold, read); });
    return failure != nullptr ? failure : records;
}

void qelmm_unload_index(mm_idx_t* index) {
    if (index != nullptr) {
        qel_minimap2::FreeIdleBuffers();
        const qel_minimap2::IndexPointer destroyed(index);
    }
}

const char* qelmm_minimap2_version() {
    return TAVIK_MINIMAP2_VERSION;
}

qelmm_own_call_counts qelmm_own_calls() {
    // In the order of OwnFunction's members.
    const auto [bands, sweeps, general, sketches, seeds, sorts, chainings, joinings] =
        qel_minimap2::kernel::OwnCallsOfAllReads();
    const auto* const kernels = qel_minimap2::kernel::ChosenKernels();
    return {bands,     sweeps,   general,
            sketches,  seeds,    sorts,
            chainings, joinings, kernels != nullptr ? static_cast<std::uint64_t>(kernels->bits) : 0};
}

const char* qelmm_make_index(const char* reference, const char* path) {
    if (reference == nullptr || path == nullptr) {
        return Failure("the paths of a reference and an index are needed");
    }
    return FailureOf([&] { qel_minimap2::MakeIndexFile(reference, qel_minimap2::Options().indexing, path); });
}

void qelmm_remove_unfinished_indexes() {
    qel_minimap2::NewFile::RemoveUnfinished();
}

const char* qelmm_check_index(const char* path) {
    return FailureOf([&] { qel_minimap2::CheckIndex(path != nullptr ? path : ""); });
}

const char* qelmm_describe_index(const char* path, qelmm_index_description* description) {
    if (description == nullptr) {
        return Failure("a pointer to a description is needed");
    }
    return FailureOf([&] {
        const auto header = qel_minimap2::HeaderOf(path != nullptr ? path : "");
        const auto& index = header.index;
        *description = {header.version,
                        index.k,
                        index.window,
                        index.bucket_bits,
                        (index.flags & MM_I_HPC) != 0 ? 1U : 0U,
                        index.sequences,
                        header.bases,
                        header.minimizers,
                        header.file_size,
                        header.section_count,
                        {}};
        for (std::size_t i = 0; i < header.section_count; ++i) {
            const auto& section = header.sections[i];
            description->sections[i] = {qel_minimap2::NameOf(section.kind), section.offset, section.length,
                                        section.checksum};
        }
    });
}

void qelmm_set_threads(unsigned threads) {
    qel_minimap2::SetWorkerLimit(threads);
}
