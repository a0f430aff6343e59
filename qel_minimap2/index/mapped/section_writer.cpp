#include "qel_minimap2/index/mapped/section_writer.h"

#include <algorithm>
#include <utility>

#include "qel_minimap2/index/mapped/checksums.h"
#include "qel_minimap2/index/mapped/index_format.h"

namespace qel_minimap2 {

void SectionWriter::Write(std::uint64_t begin, std::span<const unsigned char> bytes, std::uint64_t end) {
    while (begin < end) {
        const auto size = std::min(end - begin, kPieceSize - begin % kPieceSize);
        const auto of_piece = bytes.first(std::min<std::uint64_t>(size, bytes.size()));
        if (of_piece.size() == kPieceSize) {
            WritePiece(begin / kPieceSize, of_piece);
        } else {
            WritePart(begin, of_piece, size);
        }
        bytes = bytes.subspan(of_piece.size());
        begin += size;
    }
}

// `size` includes the zeros after `bytes`.
void SectionWriter::WritePart(std::uint64_t begin, std::span<const unsigned char> bytes, std::uint64_t size) {
    const auto number = begin / kPieceSize;
    std::vector<unsigned char> filled;
    {
        const std::lock_guard lock(mutex);
        auto& piece = unfilled[number];
        piece.bytes.resize(kPieceSize);
        std::copy(bytes.begin(), bytes.end(), piece.bytes.data() + begin % kPieceSize);
        piece.filled += size;
        if (piece.filled < kPieceSize) {
            return;
        }
        filled = std::move(piece.bytes);
        unfilled.erase(number);
    }
    WritePiece(number, filled);
}

void SectionWriter::WritePiece(std::uint64_t number, std::span<const unsigned char> bytes) {
    const auto checksum = ChecksumOf(bytes);
    file.Write(offset + number * kPieceSize, bytes.data(), bytes.size());
    const std::lock_guard lock(mutex);
    checksums.resize(std::max<std::uint64_t>(checksums.size(), number + 1));
    checksums[number] = checksum;
}

std::uint64_t SectionWriter::Finish() {
    for (const auto& [number, piece] : std::exchange(unfilled, {})) {  // Only the last piece can be left.
        WritePiece(number, std::span(piece.bytes).first(RoundedUp(piece.filled, kPageSize)));
    }
    return ChecksumOf(checksums);
}

}  // namespace qel_minimap2
