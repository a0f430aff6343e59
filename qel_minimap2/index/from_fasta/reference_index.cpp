#include "qel_minimap2/index/from_fasta/reference_index.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

#include "qel_minimap2/index/from_fasta/block_filler.h"
#include "qel_minimap2/index/from_fasta/piece_sketch.h"
#include "qel_minimap2/index/from_fasta/reference_reader.h"
#include "qel_minimap2/index/packed_bases.h"
#include "qel_minimap2/index/parallel.h"

namespace qel_minimap2 {

namespace {

constexpr std::uint64_t kLeastPieceBases = 1 << 16, kMostPieceBases = 1 << 22;
constexpr std::uint64_t kPiecesPerWorker = 8;
// The entries of this many blocks are released together, because only complete pages return to the system.
constexpr std::size_t kBlocksPerRelease = 16;

std::vector<SketchedPiece> SketchAll(const Reference& reference, const IndexHeader& header, const EntryFormat& format) {
    const auto count = reference.bases.Count();
    const auto piece_bases = std::clamp(count / (kPiecesPerWorker * WorkerLimit()), kLeastPieceBases, kMostPieceBases);
    std::deque<PieceSketcher> sketchers;
    while (sketchers.size() < WorkerLimit()) {
        sketchers.emplace_back(header, format, reference);
    }
    std::vector<SketchedPiece> pieces((count + piece_bases - 1) / piece_bases);
    ForEach(pieces.size(), [&](std::size_t item, unsigned worker) {
        pieces[item] = sketchers[worker].Sketch(item * piece_bases, std::min((item + 1) * piece_bases, count));
    });
    return pieces;
}

void FillTable(SeedTable& table, const EntryFormat& format, const std::vector<ReferenceSequence>& sequences,
               const std::vector<SketchedPiece>& pieces, IndexSink* sink) {
    const SequencePlaces places(sequences);
    std::vector<BlockFiller> fillers(WorkerLimit(), BlockFiller(table, format, places, pieces, sink));
    std::vector<std::atomic<std::size_t>> done(table.BlockCount() / kBlocksPerRelease + 1);
    ForEach(table.BlockCount(), [&](std::size_t block, unsigned worker) {
        fillers[worker].Fill(block);
        const auto release = block / kBlocksPerRelease;
        if (++done[release] == kBlocksPerRelease) {
            const auto first = release * kBlocksPerRelease;
            for (const auto& [entries, begins] : pieces) {
                entries.Release(begins[first] * std::size_t{8}, begins[first + kBlocksPerRelease] * std::size_t{8});
            }
        }
    });
}

void Index(const Reference& reference, const IndexHeader& header, SeedTable& table, IndexSink* sink) {
    const EntryFormat format(header, table.BitsInBlock());
    const auto pieces = SketchAll(reference, header, format);
    FillTable(table, format, reference.sequences, pieces, sink);
}

// Returns the header of the index, except for the number of sequences, which is not known yet.
IndexHeader HeaderFor(const mm_idxopt_t& options) {
    if (options.flag != 0 || options.k % 2 != 1 || options.k > 15 || options.w < 1 || options.w > 255) {
        throw std::invalid_argument(
            "a reference can be indexed only with an odd k of at most 15, a window of 1 to 255 and no flags");
    }
    return {static_cast<std::uint32_t>(options.w), static_cast<std::uint32_t>(options.k),
            static_cast<std::uint32_t>(std::min<int>(options.bucket_bits, 2 * options.k)), 0, 0};
}

}  // namespace

IndexPointer IndexReference(const std::string& path, const mm_idxopt_t& options) {
    auto header = HeaderFor(options);
    auto reference = ReadReference(path);
    header.sequences = static_cast<std::uint32_t>(reference.sequences.size());
    auto table = std::make_unique<SeedTable>(header.k, header.bucket_bits);
    Index(reference, header, *table, nullptr);
    return MakeIndex(header, reference.sequences, std::move(table), reference.bases.Take());
}

std::vector<ReferenceSequence> IndexReference(const std::string& path, const mm_idxopt_t& options, IndexSink& sink) {
    auto header = HeaderFor(options);
    auto reference = ReadReference(path);
    header.sequences = static_cast<std::uint32_t>(reference.sequences.size());
    sink.Begin(header, reference.sequences, reference.bases.Words());
    SeedTable table(header.k, header.bucket_bits);
    Index(reference, header, table, &sink);
    sink.End(table);
    return std::move(reference.sequences);
}

}  // namespace qel_minimap2
