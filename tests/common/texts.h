#pragma once

#include <exception>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace Tests {

using Lines = std::vector<std::string>;

inline std::string ReadAll(const std::string& path) {
    std::ifstream stream(path, std::ios_base::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

/// The lines of a text without their line feeds.
inline Lines LinesOf(const std::string& text) {
    std::istringstream stream(text);
    Lines lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

/// The lines of a file; empty for a missing file.
inline Lines ReadLines(const std::string& path) {
    return LinesOf(ReadAll(path));
}

/// The message of the exception that `action` throws; "nothing thrown" if there is none.
inline std::string ErrorOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const std::exception& error) {
        return error.what();
    }
    return "nothing thrown";
}

/// Random bases, always the same for one value of `state`. Updates `state` for the next call.
inline std::string RandomBases(unsigned& state, std::size_t count) {
    std::string bases;
    while (bases.size() < count) {
        state = state * 1664525U + 1013904223U;
        bases += "ACGT"[state >> 30U];
    }
    return bases;
}

}  // namespace Tests
