#include "third_party_alignment/qel_minimap2/index/index_file.h"

#include <array>
#include <bit>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <minimap.h>

#include "third_party_alignment/qel_minimap2/index/index_builder.h"
#include "third_party_alignment/qel_minimap2/index/mapped_file.h"
#include "third_party_alignment/qel_minimap2/index/sequence_name.h"

namespace qel_minimap2 {

namespace {

constexpr std::size_t kMagicSize = 4;

[[noreturn]] void Damaged(const char* what) {
    throw std::runtime_error(std::string("the minimap2 index is damaged: ") + what);
}

// Takes values from the mapped file, which has no alignment, in order.
class Cursor {
public:
    Cursor(const unsigned char* begin, std::size_t size) : next(begin), left(size) {}

    template <typename T>
    T Take() {
        T value;
        std::memcpy(&value, Skip(1, sizeof(T)), sizeof(T));
        return value;
    }

    // The start of `count` elements of `size` bytes each.
    const unsigned char* Skip(std::uint64_t count, std::uint64_t size) {
        if (count > left / size) {
            throw std::runtime_error("the minimap2 index ends too early");
        }
        const auto* const start = next;
        next += count * size;
        left -= count * size;
        return start;
    }

    std::size_t Left() const { return left; }
    const unsigned char* Next() const { return next; }

private:
    const unsigned char* next;
    std::size_t left;
};

std::uint64_t Load64(const unsigned char* bytes) {
    std::uint64_t value = 0;
    std::memcpy(&value, bytes, sizeof(value));
    return value;
}

struct Header {
    std::uint32_t w, k, b, sequences, flag;
};

// Tells whether a key stands twice in a bucket: minimap2 aborts on that. One table serves all buckets; an
// entry counts only with the current bucket's stamp, so that it need not be cleared.
class KeySet {
public:
    void StartBucket(std::size_t keys) {
        const auto slots = std::bit_ceil(std::max<std::size_t>(2 * keys, 16));
        if (slots > entries.size()) {
            entries.assign(slots, {});
            stamp = 0;
        }
        mask = entries.size() - 1;
        ++stamp;
    }
    bool Insert(std::uint64_t key) {
        for (std::size_t slot = (key * 0x9E3779B97F4A7C15U) >> 20U & mask;; slot = (slot + 1) & mask) {
            auto& entry = entries[slot];
            if (entry.stamp != stamp) {
                entry = {key, stamp};
                return true;
            }
            if (entry.key == key) {
                return false;
            }
        }
    }

private:
    struct Entry {
        std::uint64_t key = 0;
        std::uint32_t stamp = 0;
    };
    std::vector<Entry> entries;
    std::size_t mask = 0;
    std::uint32_t stamp = 0;
};

class IndexWalk {
public:
    explicit IndexWalk(MappedFile& file) : file(file), cursor(file.Data(), file.Size()) {}

    /// Checks everything, and builds the index on the way if it is asked for and fits.
    IndexPointer Walk(bool build) {
        cursor.Skip(kMagicSize, 1);
        ReadHeader();
        ReadSequences();
        if (build && SeedTable::Fits(static_cast<int>(header.k), static_cast<int>(header.b))) {
            builder.emplace(static_cast<int>(header.w), static_cast<int>(header.k), static_cast<int>(header.b),
                            static_cast<int>(header.flag), CountKeys());
            builder->SetSequences(names, lengths);
            file.Release();  // The look ahead has touched all of it.
        }
        for (std::uint64_t bucket = 0; bucket < 1ULL << header.b; ++bucket) {
            ReadBucket(bucket);
            file.ReleaseBefore(cursor.Next());
        }
        ReadBases();
        if (cursor.Left() > 0) {
            const bool part = cursor.Left() >= kMagicSize && std::memcmp(cursor.Next(), MM_IDX_MAGIC, kMagicSize) == 0;
            throw std::runtime_error(part ? "the minimap2 index has several parts; build it with a larger -I"
                                          : "the minimap2 index is damaged: bytes follow its end");
        }
        return builder ? builder->Take() : nullptr;
    }

private:
    void ReadHeader() {
        header = cursor.Take<Header>();
        // The limits of minimap2's sketching; the number of buckets never exceeds that of the minimizers.
        if (header.k < 1 || header.k > 28 || header.w < 1 || header.w > 255) {
            Damaged("impossible minimizer sizes");
        }
        if (header.b > 2 * header.k || header.b > 30) {
            Damaged("impossible number of buckets");
        }
        if ((header.flag & ~static_cast<std::uint32_t>(MM_I_HPC | MM_I_NO_SEQ | MM_I_NO_NAME)) != 0) {
            Damaged("unknown flags");
        }
        if ((header.flag & MM_I_NO_SEQ) != 0) {
            throw std::runtime_error("the minimap2 index was built without its sequences, which alignment needs");
        }
    }

    void ReadSequences() {
        for (std::uint32_t i = 0; i < header.sequences; ++i) {
            const auto name_length = cursor.Take<std::uint8_t>();
            std::string name(reinterpret_cast<const char*>(cursor.Skip(name_length, 1)), name_length);
            if (const char* const fault = FaultOfSequenceName(name)) {
                throw std::runtime_error(std::string("the minimap2 index holds ") + fault);
            }
            names.push_back(std::move(name));
            lengths.push_back(cursor.Take<std::uint32_t>());
            if (lengths.back() > static_cast<std::uint32_t>(std::numeric_limits<std::int32_t>::max())) {
                Damaged("a sequence of more than 2^31 - 1 bases");
            }
            bases += lengths.back();
        }
    }

    // How many keys each bucket has, from a look ahead.
    std::vector<std::uint32_t> CountKeys() const {
        Cursor ahead = cursor;
        std::vector<std::uint32_t> counts;
        for (std::uint64_t bucket = 0; bucket < 1ULL << header.b; ++bucket) {
            ahead.Skip(ahead.Take<std::uint32_t>(), sizeof(std::uint64_t));
            counts.push_back(ahead.Take<std::uint32_t>());
            ahead.Skip(counts.back(), 2 * sizeof(std::uint64_t));
        }
        return counts;
    }

    // True for a new key.
    bool Insert(std::uint64_t bucket, std::uint64_t key, std::uint64_t value) {
        return builder ? builder->Insert(bucket, key, value) : keys.Insert(key >> 1U);
    }

    // The repeated minimizers' positions, then key and value of each minimizer. A key's lowest bit tells
    // whether the value is the one position or the start and number of positions in the list.
    void ReadBucket(std::uint64_t bucket) {
        const auto position_count = cursor.Take<std::uint32_t>();
        // minimap2 computes the size of the list in bytes as an int.
        if (position_count > std::numeric_limits<std::int32_t>::max() / sizeof(std::uint64_t)) {
            Damaged("too long a list of positions");
        }
        const auto* const positions = cursor.Skip(position_count, sizeof(std::uint64_t));
        for (std::uint64_t i = 0; i < position_count; ++i) {
            CheckPosition(Load64(positions + i * sizeof(std::uint64_t)));
        }
        const auto key_count = cursor.Take<std::uint32_t>();
        const auto* const entries = cursor.Skip(key_count, 2 * sizeof(std::uint64_t));
        if (builder) {
            builder->SetPositions(bucket, positions, position_count);
        } else {
            keys.StartBucket(key_count);
        }
        const std::uint64_t key_limit = 1ULL << (2 * header.k);
        for (std::uint64_t i = 0; i < key_count; ++i) {
            const auto key = Load64(entries + i * 2 * sizeof(std::uint64_t));
            const auto value = Load64(entries + (i * 2 + 1) * sizeof(std::uint64_t));
            const auto minimizer = key >> 1U;
            if (minimizer > key_limit >> header.b || (minimizer << header.b | bucket) >= key_limit) {
                Damaged("an impossible minimizer");
            }
            if (!Insert(bucket, key, value)) {
                Damaged("a minimizer that stands twice");
            }
            if ((key & 1U) != 0) {
                CheckPosition(value);
            } else if (const std::uint64_t count = value & 0xFFFFFFFFU;
                       count == 0 || (value >> 32U) + count > position_count) {
                Damaged("positions outside their list");
            }
        }
    }

    // Sequence number, 0-based position of the k-mer's last base, and strand.
    void CheckPosition(std::uint64_t position) const {
        const auto sequence = position >> 32U;
        const auto last_base = (position & 0xFFFFFFFFU) >> 1U;
        if (sequence >= lengths.size() || last_base >= lengths[sequence] || last_base + 1 < header.k) {
            Damaged("a position outside its sequence");
        }
    }

    // Eight bases in each word, 0 to 4 (A, C, G, T, other); minimap2 uses them to index its scoring matrix.
    void ReadBases() {
        const auto words = (bases + 7) / 8;
        const auto* const packed = cursor.Skip(words, sizeof(std::uint32_t));
        std::uint32_t bad = 0;
        for (std::uint64_t i = 0; i < words; ++i) {
            std::uint32_t word = 0;
            std::memcpy(&word, packed + i * sizeof(word), sizeof(word));
            bad |= (word & 0x88888888U) | ((word >> 2U) & (word | word >> 1U) & 0x11111111U);
        }
        if (bad != 0) {
            Damaged("bases that are none");
        }
        if (builder) {
            builder->SetBases(packed, words);
        }
    }

    MappedFile& file;
    Cursor cursor;
    Header header{};
    std::vector<std::string> names;
    std::vector<std::uint32_t> lengths;
    std::uint64_t bases = 0;
    KeySet keys;                          // When nothing is built.
    std::optional<IndexBuilder> builder;  // When something is.
};

}  // namespace

bool HasIndexMagic(const std::string& path) {
    errno = 0;
    std::ifstream file(path, std::ios_base::binary);
    std::array<char, kMagicSize> magic{};
    file.read(magic.data(), magic.size());
    if (!file && !file.eof()) {
        throw std::runtime_error(std::generic_category().message(errno));
    }
    return file && std::memcmp(magic.data(), MM_IDX_MAGIC, kMagicSize) == 0;
}

void CheckIndexFile(const std::string& path) {
    MappedFile file(path);
    IndexWalk(file).Walk(false);
}

IndexPointer LoadIndexFile(const std::string& path) {
    MappedFile file(path);
    return IndexWalk(file).Walk(true);
}

}  // namespace qel_minimap2
