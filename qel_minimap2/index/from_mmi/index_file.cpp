#include "qel_minimap2/index/from_mmi/index_file.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include <minimap.h>

#include "qel_minimap2/index/from_mmi/bucket_reader.h"
#include "qel_minimap2/index/from_mmi/index_layout.h"
#include "qel_minimap2/index/from_mmi/minimizer_sample.h"
#include "qel_minimap2/index/from_mmi/stored_bases.h"
#include "qel_minimap2/index/parallel.h"
#include "qel_minimap2/index/seed_table.h"
#include "qel_minimap2/index/stored_file.h"

namespace qel_minimap2 {

namespace {

// How much a thread reads at a time where buckets are small; fits into a core's cache.
constexpr std::size_t kChunk = 1 << 16;

}  // namespace

bool HasIndexMagic(const std::string& path) {
    const StoredFile file(path);
    std::string magic(sizeof MM_IDX_MAGIC - 1, '\0');
    file.Read(0, std::min<std::uint64_t>(magic.size(), file.Size()), magic.data());
    return magic == MM_IDX_MAGIC;
}

IndexPointer LoadIndexFile(const std::string& path) {
    return LoadIndexFile(StoredFile(path));
}

IndexPointer LoadIndexFile(const StoredFile& file) {
    const IndexLayout layout(file);
    auto bases = AllocateWords(layout.BaseWords());
    MinimizerSample sample(layout, bases.get(), CopyBases(layout, bases.get()));

    auto table = std::make_unique<SeedTable>(layout.Header().k, layout.Header().bucket_bits);
    std::vector<FileWindow> windows(WorkerLimit(), FileWindow(file, kChunk));
    ForEach(table->BlockCount(), [&](std::size_t block, unsigned worker) {
        BucketReader(layout, windows[worker], sample, *table, worker).ReadBlock(block);
    });
    sample.Check();
    return MakeIndex(layout.Header(), layout.Sequences(), std::move(table), std::move(bases));
}

}  // namespace qel_minimap2
