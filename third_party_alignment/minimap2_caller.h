#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "third_party_alignment/ext_align_caller.h"

namespace ThirdPartyAlignment {

class MMIndexWrapper;
class SamHeader;

/// Aligns reads in this process with minimap2. Copies share one index. After the index is loaded, several threads may
/// call any function at the same time.
class Minimap2Caller : public ExtAlignCaller {
public:
    /// `index_file`: an index or a FASTA or FASTQ reference; not loaded yet. Throws std::runtime_error "Aligner index
    /// file <path> does not exist!" unless `index_file` is a regular file.
    explicit Minimap2Caller(const std::string& index_file);
    Minimap2Caller& operator=(const Minimap2Caller&) = delete;
    ~Minimap2Caller() override;

    /// Loads the index unless a caller that shares it has already loaded it. Throws std::runtime_error "Could not load
    /// index <path>" (the next call tries again) or "Minimap2 index contains 0 sequences.". The functions below that
    /// need the index load it in the same way and throw the same exceptions.
    void LoadIndex();

    /// Returns the version of minimap2 in the wrapper library, or "unknown" if the wrapper does not report it.
    static std::string LibraryVersion();

    /// Returns the index's "@SQ" lines, separated by line feeds, without a line feed at the end. Needs the index.
    std::string GetSamHeader();

    /// Returns the header and the records of one read, each line with a line feed. Needs the index. Throws
    /// std::runtime_error if minimap2 returns nothing or an error.
    std::string Call(const std::string& sequence, const std::string& read_name) override;

    /// Does the same as Call, but does not return the header.
    std::string CallWithoutHeader(const std::string& sequence, const std::string& read_name);

    /// Returns the header that Call puts before a record. It is valid while this caller or a copy exists. Needs the
    /// index.
    const SamHeader& Header() const;

    /// Returns a caller that shares the index. Only the caller that loads the index, and copies of it made after that,
    /// have the index's occurrence threshold. The threshold of an earlier copy stays 0.
    std::shared_ptr<ExtAlignCaller> Copy() const override;

    /// Returns the result of ExtAlignCaller's function, but with the header before the record. Needs the index.
    AlignmentResult CreateUnalignedResult(const std::string& read_name) const override;

private:
    Minimap2Caller(const Minimap2Caller&) = default;

    // Does what LoadIndex does, for const functions, and returns the loaded index.
    const MMIndexWrapper& Loaded() const;

    std::string index_file;
    std::shared_ptr<MMIndexWrapper> index_wrapper;
    mutable std::int32_t occ_threshold = 0;  // Written only when this caller loads the index.
    bool with_header = true;
};

}  // namespace ThirdPartyAlignment
