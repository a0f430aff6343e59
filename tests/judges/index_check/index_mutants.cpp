#include "tests/judges/index_check/index_mutants.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string_view>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "qel_minimap2/qel_minimap2.h"
#include "tests/common/texts.h"
#include "tests/qel_minimap2/index/mapped/mapped_parts.h"

namespace IndexCheck {

namespace {

constexpr int kRefused = 0, kAlike = 1, kChanged = 2;
constexpr rlim_t kSeconds = 20;  // Of processor time.
constexpr long kMostKib = 1L << 20U;
constexpr std::size_t kReadBases = 1000;

// Returns the part of the index to which a byte belongs: "header", "name or length", "count", "position", "key",
// "value" or "bases".
std::string PartOf(const Tests::IndexParts& parts, std::size_t offset) {
    if (offset < parts.names_begin || offset >= parts.bases_begin) {
        return offset < parts.names_begin ? "header" : "bases";
    }
    if (offset < parts.buckets.front().begin) {
        return "name or length";
    }
    const auto after =
        std::upper_bound(parts.buckets.begin(), parts.buckets.end(), offset,
                         [](std::size_t place, const Tests::IndexParts::Bucket& bucket) { return place < bucket.end; });
    const bool in_keys = offset >= after->key_count_at;
    const auto place = offset - (in_keys ? after->key_count_at : after->begin);
    return place < 4 ? "count" : !in_keys ? "position" : (place - 4) % 16 < 8 ? "key" : "value";
}

}  // namespace

IndexMutants::IndexMutants(std::uint32_t seed, std::size_t bases, std::size_t read_count) : generator(seed) {
    const auto repeat = RandomBases(bases / 40);
    std::string sequence;
    while (sequence.size() < bases) {
        sequence += RandomBases(bases / 10) + repeat;
    }
    std::string text = ">long\n";
    text.append(sequence)
        .append("\n>short\n")
        .append(RandomBases(3000))
        .append("NNN")
        .append(RandomBases(500))
        .append("\n");
    const auto fasta = folder.Write("reference.fa", text);
    for (std::size_t at = 0; at + kReadBases <= sequence.size(); at += sequence.size() / read_count) {
        reads.push_back(sequence.substr(at, kReadBases));
    }
    for (const std::string preset : {"map-ont", "map-pb", "asm5", "sr"}) {
        for (const auto k : {6, 13, 15, 19, 22, 23, 28}) {
            const auto options = "-x " + preset + " -k " + std::to_string(k);
            std::string command = "minimap2 ";
            command.append(options).append(" -d ").append(folder.Path("sound")).append(" ").append(fasta);
            command += " 2> /dev/null";
            if (std::system(command.c_str()) != 0) {
                throw std::runtime_error(command);
            }
            sound.push_back({options, Tests::ReadAll(folder.Path("sound")), Records(folder.Path("sound"))});
            sound.push_back({options + ", mapped", Mapped(folder.Path("sound")), sound.back().records});
        }
    }
}

std::string IndexMutants::RandomBases(std::size_t count) {
    std::string bases(count, 'A');
    std::generate(bases.begin(), bases.end(), [this] { return "ACGT"[generator() >> 30U]; });
    return bases;
}

// Returns the index that qelmm_make_index makes from a prebuilt index.
std::string IndexMutants::Mapped(const std::string& path) const {
    const auto mapped = folder.Path("mapped");
    if (const char* const failure = qelmm_make_index(path.c_str(), mapped.c_str()); failure != nullptr) {
        throw std::runtime_error(failure);
    }
    return Tests::ReadAll(mapped);
}

// Returns the SAM records or the error of each read; an empty text if the index is refused.
std::string IndexMutants::Records(const std::string& path) const {
    mm_idx_t* const index = qelmm_load_index(path.c_str());
    if (index == nullptr) {
        return "";
    }
    std::string records;
    const auto threshold = qelmm_cache_idx_occ_thres(index);
    for (auto bases : reads) {
        std::string name = "read";
        mm_bseq1_t read{};
        read.l_seq = static_cast<int>(bases.size());
        read.name = name.data();
        read.seq = bases.data();
        char* const text = qelmm_align(index, threshold, read);
        records += text;
        if (!std::string_view(text).starts_with("ERROR:")) {
            std::free(text);
        }
    }
    qelmm_unload_index(index);
    return records;
}

std::string IndexMutants::ChangeCountOrStart(std::string& index, const Tests::IndexParts& parts) {
    const auto& bucket = parts.buckets[Below(parts.buckets.size())];
    const auto entries = (bucket.end - bucket.key_count_at - 4) / 16;
    const auto kind = Below(4);
    auto at = kind == 0 ? bucket.begin : bucket.key_count_at;
    if (kind > 1 && entries > 0) {
        at += 4 + 16 * Below(entries) + 8 + (kind == 3 ? 4 : 0);
    }
    const auto number = Tests::NumberAt<std::uint32_t>(index, at);
    const std::uint32_t changed[] = {number + 1, number - 1, number * 2, number + 1000, 0, 1, UINT32_MAX};
    std::memcpy(&index[at], &changed[Below(std::size(changed))], sizeof number);
    return "changed count or start, " + PartOf(parts, at);
}

std::string IndexMutants::SwapBuckets(std::string& index, const Tests::IndexParts& parts) {
    auto first = Below(parts.buckets.size()), second = Below(parts.buckets.size());
    if (first > second) {
        std::swap(first, second);
    }
    const auto& a = parts.buckets[first];
    const auto& b = parts.buckets[second];
    if (first != second) {
        const auto between = index.substr(a.end, b.begin - a.end);
        index.replace(a.begin, b.end - a.begin,
                      index.substr(b.begin, b.end - b.begin) + between + index.substr(a.begin, a.end - a.begin));
    }
    return "swapped buckets";
}

// Damages an index made by qelmm_make_index. Corrects the checksums of seven in eight damaged indexes, so that loading
// does not stop at the checksums.
std::string IndexMutants::DamageMapped(std::string& index) {
    Tests::MappedParts parts(index);
    const auto number = Below(qel_minimap2::kSectionKinds + 1);
    const auto section = parts.Header().sections[number];
    const bool in_header = section.length == 0;
    const auto begin = in_header ? 0 : section.offset;
    const auto length = in_header ? 304 : section.length;  // The header without its unused sections and padding.
    const auto size = std::min(std::size_t{1} << Below(10), length);
    const auto at = begin + Below(length - size + 1);
    std::string what;
    switch (Below(4)) {
        case 0:
            index[at] = static_cast<char>(index[at] ^ (1 << Below(8)));
            what = "flipped bit";
            break;
        case 1:
            index.replace(at, size, size, Below(2) == 0 ? '\0' : '\xff');
            what = "all bits cleared or all set";
            break;
        case 2:
            index.replace(at, size, index.substr(Below(index.size() - size + 1), size));
            what = "bytes from elsewhere";
            break;
        default:
            std::generate_n(&index[at], size, [this] { return static_cast<char>(generator()); });
            what = "random bytes";
    }
    const bool is_repaired = Below(8) != 0;
    if (is_repaired) {
        parts.Repair();
    }
    return what + ", " + (in_header ? "header" : NameOf(section.kind)) + (is_repaired ? "" : ", wrong checksum");
}

std::string IndexMutants::Damage(std::string& index) {
    if (std::equal(qel_minimap2::kMappedMagic.begin(), qel_minimap2::kMappedMagic.end(), index.begin())) {
        return DamageMapped(index);
    }
    const Tests::IndexParts parts(index);
    // The header and the names have few bytes and would otherwise hardly ever be damaged.
    auto at = Below(8) == 0 ? Below(parts.buckets.front().begin) : Below(index.size());
    const auto size = std::min(std::size_t{1} << Below(14), index.size() - at);
    const auto where = PartOf(parts, at);
    switch (Below(7)) {
        case 0:
            index[at] = static_cast<char>(index[at] ^ (1 << Below(8)));
            return "flipped bit, " + where;
        case 1:
            index[at] = static_cast<char>(generator());
            return "other byte, " + where;
        case 2:
            index.replace(at, size, size, '\0');
            return "zeroed " + std::to_string(size) + " bytes, " + where;
        case 3: {  // As after an interrupted copy, the rest is 0x00 or 0xff bytes, or other content.
            const auto rest = index.size() - at;
            const auto filling = Below(3);
            index.replace(at, rest,
                          filling == 2 ? index.substr(0, rest) : std::string(rest, filling == 0 ? '\0' : '\xff'));
            return "cut and refilled, " + where;
        }
        case 4:
            index.replace(at, size, index.substr(Below(index.size() - size + 1), size));
            return "bytes from elsewhere, " + where;
        case 5:
            return SwapBuckets(index, parts);
        default:
            return ChangeCountOrStart(index, parts);
    }
}

void IndexMutants::Try(long count, MutantFigures& figures) {
    for (; count > 0 && figures.failure.empty(); --count) {
        const auto& [options, content, records] = sound[Below(sound.size())];
        auto mutant = content;
        const auto what = Damage(mutant);
        const auto path = folder.Write("mutant", mutant);
        const pid_t child = ::fork();
        if (child == 0) {
            const rlimit limit{kSeconds, kSeconds};
            ::setrlimit(RLIMIT_CPU, &limit);
            ::dup2(::open("/dev/null", O_WRONLY), STDERR_FILENO);
            const auto found = Records(path);
            ::_exit(found.empty() ? kRefused : found == records ? kAlike : kChanged);
        }
        if (child < 0) {
            figures.failure = std::string("fork: ") + std::strerror(errno);
            return;
        }
        int status = 0;
        rusage usage{};
        ::wait4(child, &status, 0, &usage);
        if (!WIFEXITED(status) || WEXITSTATUS(status) > kChanged || usage.ru_maxrss > kMostKib) {
            figures.failure = options;
            figures.failure.append(": ").append(what).append(": wait status ").append(std::to_string(status));
            figures.failure.append(", ").append(std::to_string(usage.ru_maxrss)).append(" KiB");
        } else if (WEXITSTATUS(status) == kChanged) {
            ++figures.changed[what];
        } else {
            ++(WEXITSTATUS(status) == kRefused ? figures.refused : figures.alike);
        }
    }
}

}  // namespace IndexCheck
