#include "qel_minimap2/index/index_loading.h"

#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <unordered_set>

#include "qel_minimap2/index/from_fasta/reference_index.h"
#include "qel_minimap2/index/from_mmi/index_file.h"
#include "qel_minimap2/index/mapped/mapped_index.h"

namespace qel_minimap2 {

namespace {

void RequireRegularFile(const std::string& path) {
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (std::filesystem::is_directory(status)) {
        throw std::runtime_error("is a folder");
    }
    if (!std::filesystem::is_regular_file(status)) {
        throw std::runtime_error(error ? error.message() : "is not a regular file");
    }
}

void WarnOfDuplicateName(const mm_idx_t& index, const std::string& path) {
    std::unordered_set<std::string_view> names;
    names.reserve(index.n_seq);
    for (std::uint32_t i = 0; i < index.n_seq; ++i) {
        if (!names.insert(index.seq[i].name).second) {
            std::cerr << "libqel_minimap2: " + path + ": warning: several sequences are named '" + index.seq[i].name +
                             "'; records and figures cannot tell them apart\n"
                      << std::flush;
            return;
        }
    }
}

}  // namespace

IndexPointer LoadIndex(const std::string& path, const mm_idxopt_t& options) {
    RequireRegularFile(path);
    auto index = HasMappedMagic(path)  ? MapIndex(path)
                 : HasIndexMagic(path) ? LoadIndexFile(StoredFile(path))
                                       : IndexReference(path, options);
    WarnOfDuplicateName(*index, path);
    return index;
}

}  // namespace qel_minimap2
