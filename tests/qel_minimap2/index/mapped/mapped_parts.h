#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <xxhash.h>

#include "qel_minimap2/index/mapped/index_format.h"
#include "qel_minimap2/index/seed_table.h"

namespace Tests {

/// Gives access to the parts of a mapped index's bytes, so that tests can forge them.
class MappedParts {
public:
    explicit MappedParts(std::string& bytes) : bytes(bytes) {}

    qel_minimap2::FileHeader& Header() { return *reinterpret_cast<qel_minimap2::FileHeader*>(bytes.data()); }
    qel_minimap2::Section& SectionOf(qel_minimap2::SectionKind kind) {
        return *std::find_if(Header().sections.begin(), Header().sections.end(),
                             [kind](const auto& section) { return section.kind == kind; });
    }
    /// The elements of a section, in the file's bytes.
    template <typename T>
    T* In(qel_minimap2::SectionKind kind) {
        return reinterpret_cast<T*>(&bytes[SectionOf(kind).offset]);
    }

    /// The arrays of a block of a table without rests.
    struct Block {
        std::uint32_t* keys;
        std::uint64_t* values;
        std::uint64_t* positions;
        std::uint64_t slots, position_count;
    };
    std::vector<Block> Blocks() {
        using qel_minimap2::SectionKind;
        std::vector<Block> blocks;
        auto* at = In<char>(SectionKind::table);
        const auto count = SectionOf(SectionKind::blocks).length / sizeof(qel_minimap2::StoredBlock);
        for (std::size_t i = 0; i < count; ++i) {
            const auto [groups, positions] = In<qel_minimap2::StoredBlock>(SectionKind::blocks)[i];
            const std::uint64_t slots = std::uint64_t{groups} * 16;
            auto* const values = reinterpret_cast<std::uint64_t*>(at + slots * 4);
            blocks.push_back({reinterpret_cast<std::uint32_t*>(at), values, values + slots, slots, positions});
            at += (slots * 12 + std::uint64_t{positions} * 8 + 63) / 64 * 64;
        }
        return blocks;
    }

    /// Corrects all checksums and changes nothing else; the bytes may be arbitrary.
    void Repair() {
        constexpr std::size_t kPage = 4096, kPiece = 1 << 20;
        if (bytes.size() < kPage) {
            return;
        }
        for (auto& section : Header().sections) {
            std::vector<std::uint64_t> checksums;
            const auto end = section.offset <= bytes.size() && section.length <= bytes.size() - section.offset
                                 ? std::min(section.offset + (section.length + kPage - 1) / kPage * kPage, bytes.size())
                                 : section.offset;
            for (auto begin = section.offset; begin < end; begin += kPiece) {
                checksums.push_back(XXH3_64bits(&bytes[begin], std::min(kPiece, end - begin)));
            }
            if (section.offset != 0) {
                section.checksum = XXH3_64bits(checksums.data(), checksums.size() * sizeof checksums[0]);
            }
        }
        Header().checksum = 0;
        Header().checksum = XXH3_64bits(bytes.data(), kPage);
    }

private:
    std::string& bytes;
};

}  // namespace Tests
