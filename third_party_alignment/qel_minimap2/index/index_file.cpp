#include "third_party_alignment/qel_minimap2/index/index_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include <minimap.h>

#include "third_party_alignment/qel_minimap2/index/bucket_reader.h"
#include "third_party_alignment/qel_minimap2/index/index_builder.h"
#include "third_party_alignment/qel_minimap2/index/index_layout.h"
#include "third_party_alignment/qel_minimap2/index/mapped_file.h"
#include "third_party_alignment/qel_minimap2/index/minimizer_sample.h"
#include "third_party_alignment/qel_minimap2/index/parallel.h"
#include "third_party_alignment/qel_minimap2/index/stored_bases.h"

namespace qel_minimap2 {

namespace {

// What a thread reads before it asks for more: enough to be worth asking, and to give memory back in few steps.
constexpr std::uint64_t kBucketsPerItem = 64;

}  // namespace

bool HasIndexMagic(const std::string& path) {
    errno = 0;
    std::ifstream file(path, std::ios_base::binary);
    std::array<char, 4> magic{};
    file.read(magic.data(), magic.size());
    if (!file && !file.eof()) {
        throw std::runtime_error(std::generic_category().message(errno));
    }
    return file && std::memcmp(magic.data(), MM_IDX_MAGIC, magic.size()) == 0;
}

IndexPointer LoadIndexFile(const std::string& path, bool with_seed_table) {
    const MappedFile file(path);
    const IndexLayout layout(file);
    IndexBuilder builder(layout, with_seed_table);
    file.Release(file.Data(), layout.Bases());  // The layout has touched all of it.
    MinimizerSample sample(layout, CopyBases(layout, builder.Bases()));
    const auto items = (layout.BucketCount() + kBucketsPerItem - 1) / kBucketsPerItem;
    ForEach(items, [&](std::size_t item, unsigned worker) {
        BucketReader reader(layout, sample, builder, worker);
        const auto first = item * kBucketsPerItem;
        const auto last = std::min(first + kBucketsPerItem, layout.BucketCount()) - 1;
        for (auto bucket = first; bucket <= last; ++bucket) {
            reader.Read(bucket);
        }
        file.Release(layout.Bucket(first).positions, layout.Bucket(last).End());
    });
    sample.Check();
    return builder.Take();
}

}  // namespace qel_minimap2
