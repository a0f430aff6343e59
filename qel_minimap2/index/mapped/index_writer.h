#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <minimap.h>

#include "qel_minimap2/index/index_sink.h"
#include "qel_minimap2/index/mapped/index_format.h"
#include "qel_minimap2/index/mapped/new_file.h"
#include "qel_minimap2/index/mapped/section_writer.h"

namespace qel_minimap2 {

/// Writes an index to a file while the index is made.
class IndexWriter : public IndexSink {
public:
    explicit IndexWriter(std::string path) : path(std::move(path)) {}

    /// Creates the file.
    void Begin(const IndexHeader& index, const std::vector<ReferenceSequence>& sequences,
               const std::uint32_t* words) override;
    /// Whether Begin was called.
    bool HasBegun() const { return header.file_size > 0; }
    Pages SpareMemory() override;
    void Take(std::size_t block, const SeedTable::BlockMemory& content, Pages memory) override;
    /// Completes the file.
    void End(const SeedTable& table) override;
    /// Gives the complete file its name. Call after End. Throws what NewFile::Publish throws.
    void Publish() { file->Publish(); }

private:
    struct Filled {
        SeedTable::BlockMemory content;
        Pages memory;
    };
    struct Placed {
        Filled block;
        std::uint64_t begin, size;  // In bytes. `begin` counts from the start of the table's section.
    };

    Section& Add(SectionKind kind, std::uint64_t length);
    std::optional<Placed> NextPlaced();

    const std::string path;
    std::optional<NewFile> file;
    FileHeader header{};
    Section *buckets = nullptr, *blocks = nullptr, *table = nullptr;  // Pointers into `header`.
    std::optional<SeedTable::Shape> shape;
    std::optional<SectionWriter> table_writer;
    std::mutex mutex;                        // Guards the members below and the table's length.
    std::map<std::size_t, Filled> waiting;   // Blocks that still have no place in the file.
    std::vector<StoredBlock> stored_blocks;  // Blocks that have a place.
    std::vector<Pages> spare;
};

/// Passes a complete index to `sink`. Needs little memory in addition to the index. Throws what `sink` throws.
void WriteIndex(const mm_idx_t& index, IndexSink& sink);

}  // namespace qel_minimap2
