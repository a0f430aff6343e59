#include "qel_minimap2/index/mapped/mapped_index.h"

#include <array>
#include <cerrno>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "qel_minimap2/index/mapped/index_format.h"
#include "qel_minimap2/index/mapped/mapped_file.h"
#include "qel_minimap2/index/mapped/mapped_layout.h"
#include "qel_minimap2/index/mapped/table_check.h"
#include "qel_minimap2/index/seed_table.h"

namespace qel_minimap2 {

bool HasMappedMagic(const std::string& path) {
    errno = 0;
    std::ifstream file(path, std::ios_base::binary);
    std::array<char, kMappedMagic.size()> magic{};
    file.read(magic.data(), magic.size());
    if (!file && !file.eof()) {
        throw std::runtime_error(std::generic_category().message(errno));
    }
    return file && magic == kMappedMagic;
}

namespace {

void RequireMappedIndex(const std::string& path) {
    if (!HasMappedMagic(path)) {
        throw std::runtime_error("is not an index that tavik_index made");
    }
}

MappedLayout CheckedLayout(const MappedFile& file) {
    MappedLayout layout(file.Bytes());
    file.ExpectReadingInOrder(true);
    layout.CheckChecksums();
    file.ExpectReadingInOrder(false);
    layout.CheckContent();
    return layout;
}

}  // namespace

FileHeader HeaderOf(const std::string& path) {
    RequireMappedIndex(path);
    const MappedFile file(path);
    return MappedLayout(file.Bytes()).Header();
}

void CheckIndex(const std::string& path) {
    RequireMappedIndex(path);
    const MappedFile file(path);
    CheckTable(CheckedLayout(file));
}

IndexPointer MapIndex(const std::string& path) {
    auto file = std::make_shared<const MappedFile>(path);
    const auto layout = CheckedLayout(*file);
    const auto& header = layout.Header().index;
    auto parts = layout.Table();
    parts.owner = std::move(file);
    auto table = std::make_unique<const SeedTable>(header.k, header.bucket_bits, std::move(parts));
    return MakeIndex(header, layout.Names(), layout.Lengths().data(), std::move(table), layout.Bases().data());
}

}  // namespace qel_minimap2
