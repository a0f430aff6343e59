#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <thread>
#include <tuple>

#include <gtest/gtest.h>

#include "qel_minimap2/qel_minimap2.h"
#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"
#include "tests/qel_minimap2/index/index_parts.h"

namespace {

using Tests::NumberAt;

// First, the number of sequences in the loaded index or reference, or kRefused; second, the printed message without
// the path.
using Loaded = std::pair<int, std::string>;
constexpr int kRefused = -1;

Loaded LoadedFrom(const std::string& path) {
    testing::internal::CaptureStderr();
    const std::unique_ptr<mm_idx_t, decltype(&qelmm_unload_index)> index(qelmm_load_index(path.c_str()),
                                                                         &qelmm_unload_index);
    const auto said = testing::internal::GetCapturedStderr();
    const auto start = "libqel_minimap2: " + path + ": ";
    return {index ? static_cast<int>(index->n_seq) : kRefused,
            said.starts_with(start) ? said.substr(start.size(), said.size() - start.size() - 1) : said};
}

class Index : public testing::Test {
protected:
    std::string RandomBases(std::size_t count) { return Tests::RandomBases(state, count); }
    // Builds an index of `fasta` and returns the index's path.
    std::string BuildIndex(const std::string& options, const std::string& fasta, const std::string& name) const {
        const auto command = "minimap2 -x map-ont " + options + " -d " + Tests::Quoted(folder.Path(name)) + " " +
                             Tests::Quoted(fasta) + " 2>/dev/null";
        EXPECT_EQ(std::system(command.c_str()), 0) << command;
        return folder.Path(name);
    }
    std::string Gzip(const std::string& path) const {
        EXPECT_EQ(std::system(("gzip -kf " + Tests::Quoted(path)).c_str()), 0);
        return Tests::ReadAll(path + ".gz");
    }

    unsigned state = 5;
    Tests::TemporaryFolder folder;
};

TEST_F(Index, AReferenceIsLoadedCompletelyOrRefusedWithTheReason) {
    const auto reference =
        folder.Write("two.fa", ">one\n" + RandomBases(3000) + "\n>two desc\n" + RandomBases(2000) + "\n");
    const auto good = Tests::ReadAll(reference);
    const auto one = Gzip(reference);
    const auto two = Gzip(folder.Write("b.fa", ">b\n" + RandomBases(5000) + "\n"));
    auto no_member = two;
    no_member[1] = 'x';  // With a different second byte, the data are not a gzip member, and zlib skips them silently.
    auto damaged = one;
    auto& of_checksum = damaged[one.size() - 8];
    of_checksum = static_cast<char>(of_checksum ^ 0x55);
    const std::string gzip = "gzip error: ", too_early = gzip + "the file ends too early";
    const std::string corrupt = gzip + "the data are corrupt: ";
    const std::string index = "the minimap2 index ";
    const std::string bad_name = "holds a sequence whose name has blanks or control characters";
    const std::string no_fasta = "is neither a minimap2 index nor a FASTA or FASTQ file";
    const std::string no_bases = "sequence 'a' holds bytes that are not bases";
    const std::string bad_qualities = "sequence 'a' has a different number of qualities than bases";
    const std::pair<std::string, Loaded> cases[] = {
        {one + two, {3, ""}},
        {one + two + std::string(1000, '\0'), {3, ""}},
        {"\r\n\n>a\nACGT\n>b\nACGT\n", {2, ""}},
        {"", {0, ""}},
        {good + ">two\nACGT\n>two\nACGT\n>one\nACGT\n",
         {5, "warning: several sequences are named 'two'; records and figures cannot tell them apart"}},
        {one + no_member,
         {kRefused, gzip + "a member is followed by more than 512 bytes that are not gzip data, or by any number "
                           "of such bytes and then another member"}},
        {one + std::string(9, '\0') + two, {3, ""}},
        {one + ">b\nACGT\n", {kRefused, gzip + "bytes that are not gzip data follow the last member"}},
        {damaged, {kRefused, corrupt + "incorrect data check"}},
        {one + two.substr(0, 1), {kRefused, too_early}},
        {one.substr(0, one.size() - 20), {kRefused, too_early}},
        {">a\nACGT\n>*\nACGT\n", {kRefused, "holds a sequence named '*', which SAM reserves for unmapped reads"}},
        {">\xc3\xa9\nACGT\n", {1, ""}},
        {">a\x01\nACGT\n", {kRefused, bad_name}},
        {">a\nACGT\n> b\nACGT\n", {kRefused, "holds a sequence without a name"}},
        {">a\nAC\x01GT\n", {kRefused, no_bases}},
        {">a\n" + std::string(40000, 'A') + "\x01\n", {kRefused, no_bases}},
        {"@a\nACGT\n+\n", {kRefused, bad_qualities}},
        {"@a\nACGT\n+\nIII", {kRefused, bad_qualities}},
        {"\x07\x81 noise", {kRefused, no_fasta}},
        {"MMI\2", {kRefused, index + "ends too early"}},
    };
    for (const auto& [content, expected] : cases) {
        EXPECT_EQ(LoadedFrom(folder.Write("reference", content)), expected) << content.substr(0, 9);
    }
    std::filesystem::create_symlink(reference, folder.Path("link"));
    EXPECT_EQ(LoadedFrom(folder.Path("link")), Loaded(2, ""));
    EXPECT_EQ(LoadedFrom(folder.Path("none")), Loaded(kRefused, "No such file or directory"));
    EXPECT_EQ(LoadedFrom(folder.Path(".")), Loaded(kRefused, "is a folder"));
    EXPECT_EQ(LoadedFrom(BuildIndex("-I 1k", reference, "parts.mmi")),
              Loaded(kRefused, index + "has several parts; rebuild it with a larger value of minimap2's option -I"));
    const auto whole = Tests::ReadAll(BuildIndex("", reference, "whole.mmi"));
    EXPECT_EQ(LoadedFrom(folder.Write("begun.mmi", whole + "MMI\2")),
              Loaded(kRefused, index + "has several parts; rebuild it with a larger value of minimap2's option -I"));
    EXPECT_EQ(LoadedFrom(BuildIndex("--idx-no-seq", reference, "bare.mmi")),
              Loaded(kRefused, index + "was built without its sequences, which alignment needs"));
}

template <typename T>
void Put(std::string& index, std::size_t at, T number) {
    std::memcpy(&index[at], &number, sizeof number);
}

// Damages one checked part of a prebuilt index at a time; tests/judges/index-check damages random parts.
TEST_F(Index, EachDamageIsNamed) {
    const auto repeat = RandomBases(400);
    const auto fasta = folder.Write(
        "reference.fa", ">one\n" + RandomBases(300) + repeat + repeat + repeat + "\n>two\n" + RandomBases(15) + "\n");
    const auto good = Tests::ReadAll(BuildIndex("-k 6 -w 3", fasta, "good.mmi"));
    ASSERT_EQ(LoadedFrom(folder.Path("good.mmi")), Loaded(2, ""));
    const Tests::IndexParts parts(good);
    // Finds a bucket with a list of several positions, the key that refers to the list, and a bucket whose first key
    // has a single position.
    const auto keys_of = [&](const Tests::IndexParts::Bucket& bucket) { return bucket.key_count_at + 4; };
    const auto with_list = std::find_if(parts.buckets.begin(), parts.buckets.end(), [&](const auto& bucket) {
        return NumberAt<std::uint32_t>(good, bucket.begin) > 2;
    });
    ASSERT_NE(with_list, parts.buckets.end());
    const auto list = with_list->begin + 4, key = keys_of(*with_list), start = key + 12, count = key + 8;
    const auto single = std::find_if(parts.buckets.begin(), parts.buckets.end(), [&](const auto& bucket) {
        return bucket.end > keys_of(bucket) && NumberAt<std::uint64_t>(good, keys_of(bucket)) % 2 == 1;
    });
    ASSERT_NE(single, parts.buckets.end());
    const auto single_value = keys_of(*single) + 8;
    const std::size_t window = 4, k = 8, bucket_bits = 12, flags = 20, length = 28;
    const auto set = [](std::size_t at, auto number) {
        return [=](std::string& index) { Put(index, at, static_cast<std::uint32_t>(number)); };
    };
    const std::string none = "positions that belong to no minimizer",
                      outside = "an empty list of positions, or one outside its bucket",
                      wrong_place = "a position outside its sequence", sizes = "impossible minimizer sizes",
                      others = "its minimizers do not match its sequences";
    const std::pair<std::string, std::function<void(std::string&)>> cases[] = {
        {sizes, set(k, 0)},
        {sizes, set(k, 29)},
        {sizes, set(window, 0)},
        {sizes, set(window, 256)},
        {"impossible number of buckets", set(bucket_bits, 13)},
        {"unknown flags", set(flags, 8)},
        {"a sequence of more than 2^31 - 1 bases", set(length, 1U << 31U)},
        {"a list of positions that is too long", set(with_list->begin, 1U << 28U)},
        {"an impossible minimizer",
         [&](std::string& index) {  // Adds 4096, the lowest impossible minimizer, to bucket 0, which is empty.
             const auto key_count_at = parts.buckets[0].key_count_at;
             Put(index, key_count_at, 1U);
             index.insert(key_count_at + 4, std::string("\2").append(15, '\0'));
         }},
        {outside, set(count, 0)},
        {outside, set(count, NumberAt<std::uint32_t>(good, count) + 1)},
        {outside, set(start, 1)},
        {outside, set(start, UINT32_MAX)},
        {none, set(count, NumberAt<std::uint32_t>(good, count) - 1)},
        {"positions that are not sorted",
         [&](std::string& index) { std::swap_ranges(&index[list], &index[list + 8], &index[list + 8]); }},
        {"positions that are not sorted", [&](std::string& index) { std::copy_n(&index[list], 8, &index[list + 8]); }},
        {wrong_place, set(list + 4, 2)},
        {wrong_place, set(single_value + 4, 2)},
        {wrong_place, [&](std::string& index) { Put(index, single_value, (std::uint64_t{1} << 32U) + 30); }},
        {wrong_place, set(single_value, 9)},
        {others, set(single_value, NumberAt<std::uint32_t>(good, single_value) ^ 1U)},
        {"invalid base codes", [&](std::string& index) { index.back() = '\x05'; }},
        {others, [&](std::string& index) { index[parts.bases_begin + 150] ^= 1; }},
        {others, [&](std::string& index) { index[index.size() - 4] ^= 1; }},
        {"bytes follow its end", [&](std::string& index) { index += "MMI"; }},
        {others,
         [&](std::string& index) {  // Removes a minimizer.
             Put(index, single->key_count_at, NumberAt<std::uint32_t>(good, single->key_count_at) - 1);
             index.erase(keys_of(*single), 16);
         }},
    };
    for (const auto& [reason, damage] : cases) {
        auto index = good;
        damage(index);
        EXPECT_EQ(LoadedFrom(folder.Write("damaged.mmi", index)),
                  Loaded(kRefused, "the minimap2 index is damaged: " + reason));
    }
    auto nameless = good;
    nameless[24] = 0;
    nameless.erase(25, 3);
    EXPECT_EQ(LoadedFrom(folder.Write("nameless.mmi", nameless)),
              Loaded(kRefused, "the minimap2 index holds a sequence without a name"));
    for (std::size_t size = 4; size < good.size(); size += size < 60 ? 1 : 97) {
        EXPECT_EQ(LoadedFrom(folder.Write("cut.mmi", good.substr(0, size))),
                  Loaded(kRefused, "the minimap2 index ends too early"));
    }
}

// In a sound file, each key occurs once and each position belongs to one key.
TEST_F(Index, DuplicateKeysAndSharedPositionsAreRefused) {
    const auto repeat = RandomBases(400);
    const auto good =
        Tests::ReadAll(BuildIndex("-k 28 -w 1", folder.Write("r.fa", ">r\n" + repeat + repeat + "\n"), "good.mmi"));
    for (const auto& [begin, key_count_at, end] : Tests::IndexParts(good).buckets) {
        const auto first = key_count_at + 4, second = first + 16;
        if (NumberAt<std::uint32_t>(good, key_count_at) != 2 || NumberAt<std::uint32_t>(good, begin) != 4) {
            continue;
        }
        auto twice = good, shared = good, overlapping = good;
        std::copy_n(&good[first], 8, &twice[second]);
        EXPECT_EQ(LoadedFrom(folder.Write("twice.mmi", twice)),
                  Loaded(kRefused, "the minimap2 index is damaged: a duplicate minimizer"));
        std::copy_n(&good[first + 8], 8, &shared[second + 8]);
        std::uint64_t positions[4];
        std::memcpy(positions, &good[begin + 4], sizeof positions);
        std::sort(std::begin(positions), std::end(positions));
        std::memcpy(&overlapping[begin + 4], positions, sizeof positions);
        Put(overlapping, first + 8, std::uint64_t{3});
        Put(overlapping, second + 8, (std::uint64_t{2} << 32U) + 1);
        for (const auto& index : {shared, overlapping}) {
            EXPECT_EQ(LoadedFrom(folder.Write("shared.mmi", index)),
                      Loaded(kRefused, "the minimap2 index is damaged: positions that belong to two minimizers"));
        }
        return;
    }
    FAIL() << "no bucket with two lists of two positions";
}

// The packed bases are at the end of the file. If copying an index stops after the copy's full size was allocated, the
// last bases of the copy are zeros.
TEST_F(Index, ZerosInTheBasesAreFoundWhereverTheyLie) {
    // `b` has runs of AT. If k is even, each k-mer of such a run equals its reverse complement, so minimap2 skips the
    // k-mer.
    std::string b;
    for (int i = 0; i < 120; ++i) {
        b += RandomBases(700);
        for (int pairs = 37 * i % 200; pairs > 0; --pairs) {
            b += "AT";
        }
    }
    const auto fasta = folder.Write("long.fa", ">a\n" + RandomBases(400000) + "\n>b\n" + b + "\n");
    for (const std::string options : {"", "-H -k19", "-k23", "-k14"}) {
        const auto good = Tests::ReadAll(BuildIndex(options, fasta, "long.mmi"));
        EXPECT_EQ(LoadedFrom(folder.Path("long.mmi")), Loaded(2, "")) << options;
        const auto bases = Tests::IndexParts(good).bases_begin;
        auto other_end = good;
        other_end[good.size() - 20] ^= 1;
        EXPECT_EQ(LoadedFrom(folder.Write("other.mmi", other_end)).first, kRefused) << options;
        for (const std::size_t zeros : {40U, 300U, 100000U}) {
            for (auto begin = good.size() - zeros; begin > bases; begin -= std::min(begin - bases, zeros + 61234)) {
                auto damaged = good;
                damaged.replace(begin, zeros, zeros, '\0');
                if (zeros >= 256 || begin + zeros == good.size()) {
                    EXPECT_EQ(LoadedFrom(folder.Write("zeros.mmi", damaged)).first, kRefused) << options << begin;
                }
            }
        }
    }
}

// Unusual windows, k-mer sizes and references must not be mistaken for damage, but a wrong header must be noticed.
TEST_F(Index, AnIndexMustMatchItsSequences) {
    std::string islands, repeats;
    for (std::size_t i = 0; i < 60; ++i) {
        islands += RandomBases(37 * i % 900) + std::string(53 * i % 1500, 'N');
        repeats += RandomBases(300) + std::string(41 * i % 600, 'A');
    }
    const auto fasta =
        folder.Write("hard.fa", ">long\n" + RandomBases(50000) + "\n>islands\n" + islands + "\n>none\n\n>repeats\n" +
                                    repeats + "\n>one\nA\n>" + std::string(200, 'l') + "\n" + RandomBases(3001) + "\n");
    const auto before = Tests::OpenDescriptors();
    for (const std::string options : {"-k15 -w10", "-k14 -w10 -H", "-k28 -w1", "-k13 -w20", "-k8 -w40 -H"}) {
        const auto path = BuildIndex(options, fasta, "index.mmi");
        EXPECT_EQ(LoadedFrom(path), Loaded(6, "")) << options;
        EXPECT_EQ(Tests::OpenDescriptors(), before);
        EXPECT_EQ(Tests::ReadAll("/proc/self/maps").find(path), std::string::npos) << "the file is still mapped";

        const auto index = Tests::ReadAll(path);
        constexpr std::size_t kWindow = 4, kMerSize = 8, kFlags = 20, kFirstNameLength = 24, kFirstName = 25;
        ASSERT_EQ(index[kFirstNameLength], 4);
        for (const auto offset : {kWindow, kMerSize, kFlags, kFirstName + 4}) {
            for (const int change : {-1, 1, 100}) {
                auto wrong = index;
                wrong[offset] = static_cast<char>(wrong[offset] + change);
                EXPECT_EQ(LoadedFrom(folder.Write("wrong.mmi", wrong)).first, kRefused)
                    << options << ": " << change << " at " << offset;
            }
        }
        for (const char none : {'\0', ' ', '\x7f'}) {
            auto unnamed = index;
            unnamed[kFirstName + 1] = none;
            EXPECT_EQ(
                LoadedFrom(folder.Write("unnamed.mmi", unnamed)),
                Loaded(kRefused, "the minimap2 index holds a sequence whose name has blanks or control characters"));
        }
    }
}

// Returns a field of this process's status, in kilobytes.
long Kilobytes(const std::string& field) {
    const auto status = Tests::ReadAll("/proc/self/status");
    return std::stol(status.substr(status.find("\n" + field + ":") + field.size() + 2));
}

// A large index takes gigabytes, and temporary memory during loading adds to that.
TEST_F(Index, LoadingTakesLittleMoreMemoryThanTheIndex) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "Sanitizers need additional memory.";
#endif
    const auto fasta = folder.Write("large.fa", ">large\n" + RandomBases(16'000'000) + "\n");
    // Each thread has its own buffers, so the limits are less strict on machines with many cores.
    const long of_threads = 3000L * std::max(0, static_cast<int>(std::thread::hardware_concurrency()) - 2);
    for (const auto& [path, kept, peak] :
         {std::tuple(fasta, 92'000, 92'000), std::tuple(BuildIndex("", fasta, "large.mmi"), 55'000, 60'000)}) {
        std::ofstream peaks("/proc/self/clear_refs");
        if (!(peaks << 5 << std::flush)) {  // Resets the peak to the current use.
            GTEST_SKIP() << "This system does not let a process reset its peak memory.";
        }
        const auto before = Kilobytes("VmRSS");
        const std::unique_ptr<mm_idx_t, decltype(&qelmm_unload_index)> index(qelmm_load_index(path.c_str()),
                                                                             &qelmm_unload_index);
        EXPECT_LT(Kilobytes("VmRSS") - before, kept + of_threads) << path;
        EXPECT_LT(Kilobytes("VmHWM") - before, peak + of_threads) << path;
    }
}

}  // namespace
