#include "qel_minimap2/index/index_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <vector>

#include <minimap.h>

#include "qel_minimap2/index/bucket_reader.h"
#include "qel_minimap2/index/index_builder.h"
#include "qel_minimap2/index/index_layout.h"
#include "qel_minimap2/index/minimizer_sample.h"
#include "qel_minimap2/index/parallel.h"
#include "qel_minimap2/index/stored_bases.h"
#include "qel_minimap2/index/stored_file.h"

namespace qel_minimap2 {

namespace {

// What a thread reads before it asks for more, when that is not a block of a SeedTable.
constexpr std::uint64_t kBucketsPerItem = 64;
// What a thread reads of small buckets at a time; fits into a core's cache.
constexpr std::size_t kChunk = 1 << 16;

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
    return LoadIndexFile(StoredFile(path), with_seed_table);
}

IndexPointer LoadIndexFile(const StoredFile& file, bool with_seed_table) {
    const IndexLayout layout(file);
    IndexBuilder builder(layout.Header(), with_seed_table);
    builder.SetSequences(layout.Sequences());
    auto* const bases = Allocated<std::uint32_t>(layout.BaseWords());
    builder.SetBases(bases);
    MinimizerSample sample(layout, bases, CopyBases(layout, bases));

    const auto per_item = builder.Table() != nullptr ? std::uint64_t{1} << builder.Table()->BitsInBlock()
                                                     : std::min(kBucketsPerItem, layout.BucketCount());
    std::vector<FileWindow> windows(WorkerLimit(), FileWindow(file, kChunk));
    ForEach(layout.BucketCount() / per_item, [&](std::size_t item, unsigned worker) {
        BucketReader(layout, windows[worker], sample, builder, worker).Read(item * per_item, per_item);
    });
    sample.Check();
    return builder.Take();
}

}  // namespace qel_minimap2
