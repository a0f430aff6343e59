#include "qel_minimap2/index/index_loading.h"

#include <cstdint>
#include <filesystem>
#include <iostream>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <unordered_set>
#include <vector>

#include "qel_minimap2/index/from_fasta/reference_index.h"
#include "qel_minimap2/index/from_mmi/index_file.h"
#include "qel_minimap2/index/mapped/index_writer.h"
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

void WarnOfDuplicateName(const std::vector<std::string_view>& all, const std::string& path) {
    std::unordered_set<std::string_view> names;
    names.reserve(all.size());
    for (const auto name : all) {
        if (!names.insert(name).second) {
            std::cerr << "libqel_minimap2: " + path + ": warning: several sequences are named '" + std::string(name) +
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
    std::vector<std::string_view> names;
    for (std::uint32_t i = 0; i < index->n_seq; ++i) {
        names.emplace_back(index->seq[i].name);
    }
    WarnOfDuplicateName(names, path);
    return index;
}

void MakeIndexFile(const std::string& reference, const mm_idxopt_t& options, const std::string& path) {
    IndexWriter writer(path);
    const auto fail = [&](const std::string& reason) {
        throw std::runtime_error((writer.HasBegun() ? path + ": could not be written: " : reference + ": ") + reason);
    };
    try {
        RequireRegularFile(reference);
        if (HasMappedMagic(reference) || HasIndexMagic(reference)) {
            WriteIndex(*LoadIndex(reference, options), writer);
        } else {
            const auto sequences = IndexReference(reference, options, writer);
            std::vector<std::string_view> names;
            names.reserve(sequences.size());
            for (const auto& sequence : sequences) {
                names.emplace_back(sequence.name);
            }
            WarnOfDuplicateName(names, reference);
        }
        writer.Publish();  // Comes last, so that a failure leaves an older file unchanged.
    } catch (const std::bad_alloc&) {
        throw std::runtime_error(reference + ": out of memory");
    } catch (const std::exception& error) {
        fail(error.what());
    }
}

}  // namespace qel_minimap2
