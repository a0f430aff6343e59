#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <span>
#include <vector>

#include "qel_minimap2/index/mapped/new_file.h"

namespace qel_minimap2 {

/// Writes a section of an index to its file. The content may come in parts of any size, in any order, and from any
/// thread. A full-sized piece that is completely in one part is not copied.
class SectionWriter {
public:
    /// The section begins at `offset` in `file`, which must outlive this object.
    SectionWriter(const NewFile& file, std::uint64_t offset) : file(file), offset(offset) {}

    /// Takes the section's bytes from `begin` to `end` (0-based, `end` not included): first `bytes`, then zeros. Throws
    /// what NewFile::Write throws, and std::bad_alloc.
    void Write(std::uint64_t begin, std::span<const unsigned char> bytes, std::uint64_t end);
    /// Writes the last piece if it is incomplete, with zeros up to the end of its last page, and returns the section's
    /// checksum. Call after all calls to Write.
    std::uint64_t Finish();

private:
    struct Piece {
        std::vector<unsigned char> bytes;
        std::uint64_t filled = 0;  // In bytes.
    };
    void WritePart(std::uint64_t begin, std::span<const unsigned char> bytes, std::uint64_t size);
    void WritePiece(std::uint64_t number, std::span<const unsigned char> bytes);

    const NewFile& file;
    const std::uint64_t offset;
    std::mutex mutex;                         // Guards the members below.
    std::map<std::uint64_t, Piece> unfilled;  // Incomplete pieces, by number.
    std::vector<std::uint64_t> checksums;
};

}  // namespace qel_minimap2
