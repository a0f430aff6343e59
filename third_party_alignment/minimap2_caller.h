#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "third_party_alignment/ext_align_caller.h"

namespace ThirdPartyAlignment {

class MMIndexWrapper;
class SamHeader;

/// Aligns reads in this process with minimap2. Copies share one index. Once the index is loaded, all
/// operations may be called from several threads at once.
class Minimap2Caller : public ExtAlignCaller {
public:
    /// `index_file`: a minimap2 index or a reference in FASTA or FASTQ; it is loaded by LoadIndex, not here.
    /// Throws std::runtime_error "Aligner index file <path> does not exist!" unless it is a regular file.
    explicit Minimap2Caller(const std::string& index_file);
    Minimap2Caller& operator=(const Minimap2Caller&) = delete;
    ~Minimap2Caller() override;

    /// Loads the index unless this caller or one that shares it has already done so. Throws std::runtime_error "Could
    /// not load index <path>" (the next call tries again) or "Minimap2 index contains 0 sequences.".
    void LoadIndex();

    /// The version of minimap2 linked into the wrapper library; "unknown" if the wrapper does not report it.
    static std::string LibraryVersion();

    /// The index's "@SQ" lines, separated by line feeds, without one at the end. Loads the index, and throws, as
    /// LoadIndex does.
    std::string GetSamHeader();

    /// The header, if `with_header`, and the record or records of one read, each line with a line feed. Loads the index
    /// as LoadIndex does. Throws std::runtime_error when minimap2 returns nothing or an error.
    std::string Call(const std::string& sequence, const std::string& read_name) override;

    /// Call without the header.
    std::string CallWithoutHeader(const std::string& sequence, const std::string& read_name);

    /// The header that Call puts before a record. Valid while this caller or a copy exists; loads as LoadIndex does.
    const SamHeader& Header() const;

    /// A caller that shares the index. Only the caller that loads the index, and copies made after that, have its
    /// occurrence threshold: an earlier copy keeps 0.
    std::shared_ptr<ExtAlignCaller> Copy() const override;

    /// Like ExtAlignCaller's, but with the header before the record, regardless of `with_header`.
    AlignmentResult CreateUnalignedResult(const std::string& read_name) const override;

private:
    Minimap2Caller(const Minimap2Caller&) = default;

    // LoadIndex for const functions.
    const MMIndexWrapper& Loaded() const;

    std::string index_file;
    std::shared_ptr<MMIndexWrapper> index_wrapper;
    mutable std::int32_t occ_threshold = 0;  // Written once, when the index is loaded.
    bool with_header = true;
};

}  // namespace ThirdPartyAlignment
