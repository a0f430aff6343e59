#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace Common {

/// A dynamically typed attribute: text, whole number or single-precision number.
using Value = std::variant<std::string, std::int32_t, float>;

/// A small string-keyed map of attributes that keeps the order in which keys were first set. Meant for about a dozen
/// keys: look-up is linear. A plain value; not synchronised.
class ValueMap {
public:
    /// Sets `key`. A new value takes the place of the old one in the order.
    void Set(const std::string& key, Value value) {
        for (auto& entry : entries) {
            if (entry.first == key) {
                entry.second = std::move(value);
                return;
            }
        }
        entries.emplace_back(key, std::move(value));
    }

    /// The value of `key` as T (one of the alternatives of Value).
    /// Throws std::out_of_range "Key '<key>' not found." for a missing key and std::bad_variant_access for a value of
    /// a different type.
    template <typename T>
    const T& Get(const std::string& key) const {
        for (const auto& entry : entries) {
            if (entry.first == key) {
                return std::get<T>(entry.second);
            }
        }
        throw std::out_of_range("Key '" + key + "' not found.");
    }

    /// Key and value pairs in the order of their first Set.
    const std::vector<std::pair<std::string, Value>>& Entries() const { return entries; }

private:
    std::vector<std::pair<std::string, Value>> entries;
};

}  // namespace Common
