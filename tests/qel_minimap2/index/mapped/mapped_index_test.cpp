// Tests files that change while in use, and forged files, which have correct checksums but contents that tavik_index
// never writes. tests/cli/index_test.py tests damaged files with wrong checksums.

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include "common/file_identity.h"
#include "qel_minimap2/qel_minimap2.h"
#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"
#include "tests/qel_minimap2/index/mapped/mapped_parts.h"

namespace {

using qel_minimap2::SectionKind;
using Index = std::unique_ptr<mm_idx_t, decltype(&qelmm_unload_index)>;
using Parts = Tests::MappedParts;
using Stretch = qel_minimap2::SeedTable::Stretch;
using Change = std::function<void(Parts&)>;

const std::string kDamaged = "the index is damaged: ", kNewer = "; make it again with tavik_index";

std::string TextOf(const char* answer) {
    return answer != nullptr ? answer : "sound";
}

// Returns why the check refuses a file, without the words that begin most reasons; "sound" if the check accepts it.
std::string FaultIn(const std::string& file) {
    static const auto start = "ERROR: " + kDamaged;
    const auto text = TextOf(qelmm_check_index(file.c_str()));
    return text.starts_with(start) ? text.substr(start.size()) : text;
}

class MappedIndex : public testing::Test {
protected:
    MappedIndex() { WriteIndex(">one\n" + bases + "\n>two\n" + repeat + "\n>three\nACGTNACGT\n", path); }

    void WriteIndex(const std::string& fasta, const std::string& to) const {
        EXPECT_EQ(TextOf(qelmm_make_index(folder.Write("reference.fa", fasta).c_str(), to.c_str())), "sound");
    }

    // Loads a file and returns the answer for the read; if loading fails, returns the reason.
    std::string Mapped(const std::string& file) {
        testing::internal::CaptureStderr();
        const Index index(qelmm_load_index(file.c_str()), &qelmm_unload_index);
        const auto said = testing::internal::GetCapturedStderr();
        const auto start = "libqel_minimap2: " + file + ": ";
        if (!index) {
            return said.starts_with(start) ? said.substr(start.size(), said.size() - start.size() - 1) : said;
        }
        return Align(*index);
    }

    // Returns the part of the read's record before the final M of the CIGAR, or an error message.
    std::string Align(const mm_idx_t& index) {
        mm_bseq1_t read{};
        std::string name = "read";
        read.l_seq = static_cast<int>(bases.size());
        read.name = name.data();
        read.seq = bases.data();
        char* const text = qelmm_align(&index, 0, read);
        std::string record = text;
        if (!record.starts_with("ERROR: ")) {
            std::free(text);
        }
        return record.substr(0, record.find("M\t"));
    }

    // Writes a copy of the index with a change and correct checksums; returns its path.
    std::string Forged(const Change& change) const {
        auto bytes = Tests::ReadAll(path);
        Parts parts(bytes);
        change(parts);
        parts.Repair();
        return folder.Write("forged", bytes);
    }

    unsigned state = 3;
    Tests::TemporaryFolder folder;
    const std::string repeat = Tests::RandomBases(state, 500);
    std::string bases = Tests::RandomBases(state, 1000) + repeat;
    const std::string path = folder.Path("own");
    const std::string record = "read\t0\tone\t1\t60\t1500";
};

TEST_F(MappedIndex, AForgedFileIsRefusedWithTheReason) {
    ASSERT_EQ(Mapped(path), record);
    ASSERT_EQ(Mapped(Forged([](Parts&) {})), record);
    ASSERT_EQ(TextOf(qelmm_check_index(path.c_str())), "sound");
    const auto header = [](auto change) { return [=](Parts& parts) { change(parts.Header()); }; };
    const auto section = [](SectionKind kind, auto change) {
        return [=](Parts& parts) { change(parts.SectionOf(kind)); };
    };
    const auto first = [](SectionKind kind, auto value) {
        return [=](Parts& parts) { *parts.In<decltype(value)>(kind) = value; };
    };
    const std::string place = "a section out of place", counts = "impossible numbers of occurrences",
                      buckets = "the wrong number of buckets",
                      sums = "its counts of occurrences do not match its minimizers",
                      lengths = "the number of its bases is not the sum of its lengths";
    constexpr auto kMost = std::numeric_limits<std::uint64_t>::max();
    const std::pair<std::string, Change> cases[] = {
        {"an unknown byte order", header([](auto& h) { h.byte_order = 0x01030204; })},
        {"an unknown version", header([](auto& h) { h.version = 0; })},
        {"impossible minimizer sizes", header([](auto& h) { h.index.k = 29; })},
        {"impossible number of buckets", header([](auto& h) { h.index.bucket_bits = 31; })},
        {"unknown flags", header([](auto& h) { h.index.flags = 8; })},
        {buckets, header([](auto& h) { h.index.bucket_bits = 30; })},
        {buckets, header([](auto& h) { h.index.bucket_bits = 13; })},
        {"the size of its table does not match its blocks", header([](auto& h) { h.index.k = 28; })},
        {"a name is missing", header([](auto& h) { h.index.sequences = 4; })},
        {"the number of lengths is not the number of its sequences", header([](auto& h) { h.index.sequences = 2; })},
        {lengths, header([](auto& h) { ++h.bases; })},
        {sums, header([](auto& h) { ++h.minimizers; })},
        {counts, header([](auto& h) { --h.minimizers; })},
        {"too many sections", header([](auto& h) { h.section_count = 65; })},
        {"a section is missing", header([](auto& h) { --h.section_count; })},
        {"a section is missing", section(SectionKind::names, [](auto& s) { s.kind = SectionKind{8}; })},
        {"two sections of one kind", section(SectionKind::names, [](auto& s) { s.kind = SectionKind::bases; })},
        {"bytes that belong to no section", section(SectionKind::occurrences, [](auto& s) { s.length = 0; })},
        {place, section(SectionKind::names, [](auto& s) { s.length += 4096; })},
        {place, section(SectionKind::bases, [](auto& s) { s.offset += 4; })},
        {place, section(SectionKind::table, [](auto& s) { s.length = kMost; })},
        {place, section(SectionKind::occurrences, [](auto& s) { s.length = kMost - 100; })},
        {"the number of lengths is not the number of its sequences",
         section(SectionKind::lengths, [](auto& s) { --s.length; })},
        {lengths, section(SectionKind::bases, [](auto& s) { s.length += 4; })},
        {buckets, section(SectionKind::blocks, [](auto& s) { s.length -= 8; })},
        {"the size of its table does not match its blocks",
         section(SectionKind::table, [](auto& s) { s.length -= 8; })},
        {sums, section(SectionKind::occurrences, [](auto& s) { s.length += 8; })},
        {"a sequence of more than 2^31 - 1 bases", first(SectionKind::lengths, 1U << 31U)},
        {lengths, first(SectionKind::lengths, 1501U)},
        {"invalid base codes", first(SectionKind::bases, 0x00500000U)},
        {"invalid base codes", first(SectionKind::bases, 0x80000000U)},
        {"a bucket outside its block", first(SectionKind::buckets, std::uint64_t{1} << 40U)},
        {"a bucket outside its block", first(SectionKind::buckets, std::uint64_t{3} << 32U | UINT32_MAX)},
        {"a bucket outside its block",
         [](Parts& parts) {  // One group beyond the block's last.
             const auto groups = parts.In<qel_minimap2::StoredBlock>(SectionKind::blocks)->groups;
             *parts.In<Stretch>(SectionKind::buckets) = {groups, 1};
         }},
        {"too many positions in a block", first(SectionKind::blocks, std::uint64_t{1} << 63U)},
        {"the size of its table does not match its blocks", first(SectionKind::blocks, std::uint64_t{UINT32_MAX})},
        {counts, first(SectionKind::occurrences, std::uint64_t{0})},
        {counts, first(SectionKind::occurrences, std::uint64_t{2})},
        {counts, first(SectionKind::occurrences, std::uint64_t{INT32_MAX})},
        {counts, [](Parts& parts) { parts.In<std::uint64_t>(SectionKind::occurrences)[1] = kMost; }},
        {counts, [](Parts& parts) { parts.In<std::uint64_t>(SectionKind::occurrences)[1] = 0; }},
    };
    for (const auto& [reason, change] : cases) {
        const auto file = Forged(change);
        EXPECT_EQ(Mapped(file), kDamaged + reason);
        EXPECT_EQ(FaultIn(file), reason);
    }
    const std::pair<std::string, Change> others[] = {
        {"the index was made on a machine with another byte order" + kNewer,
         header([](auto& h) { h.byte_order = 0x04030201; })},
        {"the index was made by a newer version" + kNewer, header([](auto& h) { h.version = 2; })},
        {"the index was made with another version of minimap2" + kNewer,
         header([](auto& h) { h.minimap2_index[3] = 3; })},
        {"the index holds a sequence without a name", first(SectionKind::names, '\0')},
        {"the index holds a sequence whose name has blanks or control characters", first(SectionKind::names, '\t')},
    };
    for (const auto& [reason, change] : others) {
        EXPECT_EQ(Mapped(Forged(change)), reason);
    }
}

// Loading does not find these faults. Still, no access leaves the index's memory, and a read that looks up a faulty
// minimizer fails.
TEST_F(MappedIndex, AReadThatMeetsAnImpossiblePositionFails) {
    const auto singles = [](auto change) {
        return [=](Parts& parts) {
            for (auto& block : parts.Blocks()) {
                for (std::uint64_t slot = 0; slot < block.slots; ++slot) {
                    block.values[slot] = block.keys[slot] % 2 == 1 && block.keys[slot] != UINT32_MAX
                                             ? change(block.values[slot])
                                             : block.values[slot];
                }
            }
        };
    };
    const auto lists = [](auto change) {
        return [=](Parts& parts) {
            for (auto& block : parts.Blocks()) {
                for (std::uint64_t slot = 0; slot < block.slots; ++slot) {
                    block.values[slot] = block.keys[slot] % 2 == 0 ? change(block.values[slot]) : block.values[slot];
                }
            }
        };
    };
    const auto positions = [](auto change) {
        return [=](Parts& parts) {
            for (auto& block : parts.Blocks()) {
                std::for_each(block.positions, block.positions + block.position_count, change);
            }
        };
    };
    const std::string sequence = "a position outside its sequence",
                      list = "an empty list of positions, or one outside its block";
    const std::uint64_t number = std::uint64_t{1} << 32U;
    const std::pair<std::string, Change> cases[] = {
        {sequence, singles([=](auto value) { return value % number + 3 * number; })},
        {sequence, singles([=](auto value) { return value | 0xFFFFFFFF00000000U; })},
        {sequence, singles([=](auto value) { return value / number * number + 3000; })},
        {sequence, singles([=](auto value) { return value / number * number + 27; })},
        {sequence, positions([=](auto& position) { position += 3 * number; })},
        {sequence, positions([=](auto& position) { position |= 0xFFFFFFFEU; })},
        {list, lists([=](auto value) { return value + 1000 * number; })},
        {list, lists([=](auto value) { return value | 0xFFFFFFFF00000000U; })},
        {list, lists([=](auto value) { return value / number * number; })},
        {list, lists([=](auto value) { return value / number * number + UINT32_MAX; })},
    };
    for (const auto& [reason, change] : cases) {
        const auto file = Forged(change);
        EXPECT_EQ(Mapped(file), "ERROR: " + kDamaged + "a minimizer of the read has invalid positions");
        EXPECT_EQ(FaultIn(file), reason);
    }
}

// Look-ups notice only impossible positions, and the faults below cause none.
TEST_F(MappedIndex, TheCheckFindsWhatLookUpsCannotNotice) {
    const auto with_list = [](Parts& parts) {
        const auto blocks = parts.Blocks();
        return *std::find_if(blocks.begin(), blocks.end(), [](const auto& block) { return block.position_count > 2; });
    };
    const auto list_slots = [](const Parts::Block& block) {
        std::vector<std::uint64_t*> slots;
        for (std::uint64_t slot = 0; slot < block.slots; ++slot) {
            if (block.keys[slot] % 2 == 0) {
                slots.push_back(&block.values[slot]);
            }
        }
        return slots;
    };
    // Returns the first bucket with groups, starting the search at bucket `from`.
    const auto bucket = [](Parts& parts, std::uint64_t from) {
        auto* stretch = parts.In<Stretch>(SectionKind::buckets) + from;
        while (stretch->groups == 0) {
            ++stretch;
        }
        return stretch;
    };
    const std::pair<std::string, Change> cases[] = {
        {"a minimizer where no look-up finds it",
         [](Parts& parts) {
             for (auto& block : parts.Blocks()) {
                 block.keys[1] = block.keys[0];
             }
         }},
        {"an impossible minimizer", [](Parts& parts) { parts.Blocks()[0].keys[0] |= 0x80000000U; }},
        {"an impossible minimizer", [](Parts& parts) { parts.Blocks()[0].keys[0] = 1U << 18U; }},
        {"positions that belong to no minimizer", [=](Parts& parts) { --*list_slots(with_list(parts)).front(); }},
        {"positions that belong to two minimizers",
         [=](Parts& parts) {
             const auto slots = list_slots(with_list(parts));
             *slots[1] = *slots[0];
         }},
        {"positions that are not sorted",
         [=](Parts& parts) {
             const auto block = with_list(parts);
             std::swap(block.positions[0], block.positions[1]);
         }},
        {"positions that are not sorted",
         [=](Parts& parts) {
             const auto block = with_list(parts);
             block.positions[1] = block.positions[0];
         }},
        {"buckets with gaps or overlaps between them",
         [=](Parts& parts) {
             auto& [begin, groups] = *bucket(parts, 0);
             ++begin;
             --groups;
         }},
        {"groups that belong to no bucket",
         [=](Parts& parts) {
             auto* const end =
                 parts.In<Stretch>(SectionKind::buckets) + (std::size_t{1} << 14U) / parts.Blocks().size();
             auto* last = end - 1;
             while (last->groups == 0) {
                 --last->begin;
                 --last;
             }
             --last->groups;
         }},
        {"its counts of occurrences do not match its minimizers",
         [](Parts& parts) {
             auto* const counts = parts.In<qel_minimap2::SeedTable::OccurrenceCount>(SectionKind::occurrences);
             --counts[0].minimizers;
             ++counts[1].minimizers;
         }},
    };
    for (const auto& [reason, change] : cases) {
        const auto file = Forged(change);
        EXPECT_EQ(FaultIn(file), reason);
        const auto mapped = Mapped(file);
        EXPECT_TRUE(mapped.starts_with("read\t")) << reason << ": " << mapped;
    }
}

TEST_F(MappedIndex, AnIndexStaysUsableWhenItsFileIsReplaced) {
    const Index index(qelmm_load_index(path.c_str()), &qelmm_unload_index);
    WriteIndex(">other\n" + bases + "\n", path);
    EXPECT_EQ(Align(*index), record);
    EXPECT_EQ(Mapped(path), "read\t0\tother\t1\t60\t1500");
}

// The environment variable contains the identity of a checked file. A file that is damaged later has another identity.
TEST_F(MappedIndex, ChecksumsOfACheckedFileAreNotComparedAgain) {
    const auto identity = [&] {
        struct stat status {};
        EXPECT_EQ(::stat(path.c_str(), &status), 0);
        return Common::FileIdentity(status);
    };
    const auto before = identity();
    const auto whole = Mapped(path);
    {
        std::fstream file(path, std::ios_base::in | std::ios_base::out | std::ios_base::binary);
        file.seekp(-1, std::ios_base::end);  // In the padding of the last section.
        file.put('x');
    }
    EXPECT_TRUE(Mapped(path).starts_with(kDamaged));
    ::setenv(Common::kCheckedIndex, identity().c_str(), 1);
    EXPECT_EQ(Mapped(path), whole);
    EXPECT_NE(FaultIn(path), "sound");
    ::setenv(Common::kCheckedIndex, before.c_str(), 1);
    EXPECT_TRUE(Mapped(path).starts_with(kDamaged));
    ::unsetenv(Common::kCheckedIndex);
}

TEST_F(MappedIndex, AnIndexStaysUsableWhenOnlyTheTimeOfItsFileChanges) {
    const Index index(qelmm_load_index(path.c_str()), &qelmm_unload_index);
    std::filesystem::last_write_time(path, std::filesystem::last_write_time(path) + std::chrono::hours(1));
    EXPECT_EQ(Align(*index), record);
}

using MappedIndexDeathTest = MappedIndex;

TEST_F(MappedIndexDeathTest, AWriteToAFileInUseEndsTheProcessWithTheFilesName) {
    const auto other = folder.Path("other");
    WriteIndex(">one\n" + repeat + bases + "\n>two\n" + repeat + "\n>three\nACGTNACGT\n", other);
    const auto good = Tests::ReadAll(path);
    const auto zeros = good.substr(0, 4096) + std::string(good.size() - 4096, '\0');
    const auto ones = good.substr(0, 4096) + std::string(good.size() - 4096, '\xff');
    const std::string contents[] = {zeros, ones, good + std::string(4096, '\0'), Tests::ReadAll(other)};
    for (unsigned i = 0; i < 2 * std::size(contents); ++i) {
        const bool for_another_read = i % 2 == 0;
        WriteIndex(">one\n" + bases + "\n>two\n" + repeat + "\n>three\nACGTNACGT\n", path);
        // Without this, the next write could leave the file's time unchanged.
        std::filesystem::last_write_time(path, std::filesystem::last_write_time(path) - std::chrono::hours(1));
        const auto use = [&] {
            const Index index(qelmm_load_index(path.c_str()), &qelmm_unload_index);
            Align(*index);
            folder.Write(std::filesystem::path(path).filename().string(), contents[i / 2]);
            if (for_another_read) {
                std::this_thread::sleep_for(std::chrono::milliseconds(50));
                Align(*index);
                ::_exit(7);
            }
        };
        EXPECT_EXIT(use(), testing::ExitedWithCode(1),
                    "^libqel_minimap2: " + path + ": the index was written to while it was in use; the process ends\n$")
            << i;
    }
}

TEST_F(MappedIndexDeathTest, TruncatingAFileInUseEndsTheProcessWithTheFilesName) {
    const auto use = [this](bool of_own_file) {
        std::signal(SIGBUS, [](int) { ::_exit(7); });
        const Index index(qelmm_load_index(path.c_str()), &qelmm_unload_index);
        if (of_own_file) {
            std::filesystem::resize_file(path, 4096);
            Align(*index);
        } else {
            std::FILE* const other = std::tmpfile();
            const void* const page = ::mmap(nullptr, 4096, PROT_READ, MAP_SHARED, ::fileno(other), 0);
            std::exit(*static_cast<const volatile char*>(page));
        }
    };
    EXPECT_EXIT(use(false), testing::ExitedWithCode(7), "^$")
        << "the earlier handler must handle faults at other addresses";
    EXPECT_EXIT(use(true), testing::ExitedWithCode(1),
                "^libqel_minimap2: " + path +
                    ": the file can no longer be read: it was shortened, another machine replaced it, or its disk "
                    "failed; the process ends\n$");
}

}  // namespace
