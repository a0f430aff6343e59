#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <span>
#include <vector>

#include "qel_minimap2/index/mapped/new_file.h"

namespace qel_minimap2 {

/// Writes a section of an index to its file. The content may come in parts of any size, in any order, from any threads.
/// A piece that one part fills is neither copied nor read again: its checksum is computed and it is written at once.
class SectionWriter {
public:
    /// `offset`: where the section begins in the file, which must outlive this object.
    SectionWriter(const NewFile& file, std::uint64_t offset) : file(file), offset(offset) {}

    /// Takes the bytes from `begin` on, counted from the section's first, and zeros between them and `end`. Throws what
    /// NewFile::Write does, and std::bad_alloc.
    void Write(std::uint64_t begin, std::span<const unsigned char> bytes, std::uint64_t end);
    /// Fills the last page with zeros and returns the section's checksum. Call when all else has been written.
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
    std::mutex mutex;                         // Guards what follows.
    std::map<std::uint64_t, Piece> unfilled;  // Pieces that several parts share, by number.
    std::vector<std::uint64_t> checksums;     // Of the pieces.
};

}  // namespace qel_minimap2
