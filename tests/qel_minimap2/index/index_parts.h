#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace Tests {

template <typename T>
T NumberAt(const std::string& index, std::size_t at) {
    T number{};
    std::memcpy(&number, &index[at], sizeof number);
    return number;
}

/// The offsets of the parts of a sound prebuilt index, in bytes.
struct IndexParts {
    struct Bucket {
        std::size_t begin, key_count_at, end;
    };

    explicit IndexParts(const std::string& index) : bases_begin(names_begin) {
        auto& at = bases_begin;
        for (auto left = NumberAt<std::uint32_t>(index, 16); left > 0; --left) {
            at += std::size_t{5} + static_cast<unsigned char>(index[at]);
        }
        for (auto left = std::uint64_t{1} << NumberAt<std::uint32_t>(index, 12); left > 0; --left) {
            const auto keys_at = at + 4 + std::size_t{8} * NumberAt<std::uint32_t>(index, at);
            const auto end = keys_at + 4 + std::size_t{16} * NumberAt<std::uint32_t>(index, keys_at);
            buckets.push_back({at, keys_at, end});
            at = end;
        }
    }

    std::vector<Bucket> buckets;
    std::size_t names_begin = 24, bases_begin;
};

}  // namespace Tests
