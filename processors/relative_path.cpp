#include "processors/relative_path.h"

#include <algorithm>

namespace Tavik {

boost::filesystem::path RelativePath(const boost::filesystem::path& file, std::string base) {
    while (!base.empty() && (base.back() == '/' || base.back() == '\\')) {
        base.pop_back();
    }
    const boost::filesystem::path from(base);
    auto [from_rest, file_rest] = std::mismatch(from.begin(), from.end(), file.begin(), file.end());
    boost::filesystem::path relative;
    for (; from_rest != from.end(); ++from_rest) {
        relative /= "..";
    }
    for (; file_rest != file.end(); ++file_rest) {
        relative /= *file_rest;
    }
    return relative;
}

}  // namespace Tavik
