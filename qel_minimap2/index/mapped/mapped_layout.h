#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "qel_minimap2/index/mapped/index_format.h"
#include "qel_minimap2/index/seed_table.h"

namespace qel_minimap2 {

/// Returns the error for a file with content that IndexWriter never writes.
inline std::runtime_error DamagedFile(const std::string& what) {
    return std::runtime_error("the index is damaged: " + what);
}

/// Returns the header of a file that begins with `start` and has `size` bytes. Checks the header, and that the sections
/// fill the file. Throws std::runtime_error.
FileHeader CheckedHeader(std::span<const unsigned char> start, std::uint64_t size);

/// Where the parts of a mapped index lie in its file, whose bytes must outlive this object. Any thread.
class MappedLayout {
public:
    /// Reads and checks only the header. Throws what CheckedHeader throws.
    explicit MappedLayout(std::span<const unsigned char> file) : file(file), header(CheckedHeader(file, file.size())) {}

    const FileHeader& Header() const { return header; }
    std::span<const Section> Sections() const { return {header.sections.data(), header.section_count}; }

    /// Reads all sections once, in parallel, and compares them with their checksums. Also checks the codes of the
    /// bases. Throws std::runtime_error and std::bad_alloc.
    void CheckChecksums() const;
    /// Checks the names, lengths, buckets, blocks and occurrences, without reading the bases or the table. Values and
    /// positions of the table are checked when a look-up uses them. Throws std::runtime_error.
    void CheckContent() const;

    const char* Names() const { return At<char>(SectionKind::names).data(); }
    std::span<const std::uint32_t> Lengths() const { return At<std::uint32_t>(SectionKind::lengths); }
    std::span<const std::uint32_t> Bases() const { return At<std::uint32_t>(SectionKind::bases); }
    /// Returns the parts of the table, without an owner. Call after CheckContent.
    SeedTable::Parts Table() const;

private:
    const Section& SectionOf(SectionKind kind) const;
    template <typename T>
    std::span<const T> At(SectionKind kind) const {
        const auto& section = SectionOf(kind);
        return {reinterpret_cast<const T*>(file.data() + section.offset), section.length / sizeof(T)};
    }
    void CheckNames() const;
    void CheckTable() const;
    void CheckCounts() const;

    std::span<const unsigned char> file;
    FileHeader header;
};

}  // namespace qel_minimap2
