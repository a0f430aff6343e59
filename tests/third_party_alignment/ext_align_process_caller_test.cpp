#include "third_party_alignment/ext_align_process_caller.h"

#include <algorithm>
#include <filesystem>
#include <tuple>

#include <gtest/gtest.h>

#include "tests/common/captured_log.h"
#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"

namespace {

using Tests::Lines;
using ThirdPartyAlignment::ExtAlignProcessCaller;

TEST(ExtAlignProcessCaller, AFailingAlignerIsRunUpToElevenTimes) {
    const std::string succeeded = "BWA alignment succeeded eventually on attempt: ";
    const std::tuple<int, std::size_t, Lines> cases[] = {
        {0, 1, {}},
        {2, 3, {succeeded + "3"}},
        {10, 11, {succeeded + "11"}},
        // The message deliberately says ten, although there are eleven runs.
        {11, 11, {"Alignment failed after max_attempts: 10"}},
    };
    for (const auto& [failures, runs, messages] : cases) {
        // An "aligner" that fails on its first `failures` runs. On each later run, it prints the number of its
        // arguments, the first argument and the read's file.
        const Tests::TemporaryFolder folder;
        const auto log_file = folder.Path("runs");
        const auto aligner = folder.Write(
            "my aligner", "echo run >> " + Tests::Quoted(log_file) + "\ntest $(wc -l < " + Tests::Quoted(log_file) +
                              ") -gt " + std::to_string(failures) + " || exit 7\necho \"$#:$1\"\ncat \"$2\"\n");
        const Tests::CapturedLog log;
        ExtAlignProcessCaller caller("/a b", aligner, "sh {executable} {reference} {strand}");
        std::string output;
        const auto error = Tests::ErrorOf([&] { output = caller.Call("ACGT", "r1"); });
        EXPECT_TRUE(error.ends_with(failures > 10 ? "finished with error code 1792" : "nothing thrown")) << error;
        EXPECT_EQ(output, failures > 10 ? "" : "2:/a b\n>r1\nACGT\n");
        EXPECT_EQ(Tests::ReadLines(log_file).size(), runs);
        auto records = log.Of("verbose");
        std::erase_if(records, [](const auto& record) {
            return !record.starts_with("BWA") && !record.starts_with("Alignment failed");
        });
        EXPECT_EQ(records, messages);
    }
}

TEST(ExtAlignProcessCaller, PlaceholdersAreFilledOnceAndEverywhere) {
    ExtAlignProcessCaller caller("{strand}", "{reference}", "printf '%s|' {executable} {executable} {reference}");
    // Each placeholder has its own pass, in the order executable, reference, strand. A later pass also fills the
    // placeholders that an earlier pass inserted: here {executable} becomes {reference}, then {strand}, then the file's
    // name.
    const auto output = caller.Call("A", "r");
    EXPECT_EQ(std::count(output.begin(), output.end(), '|'), 3);
    EXPECT_EQ(output.find("{"), std::string::npos);
    ExtAlignProcessCaller without("", "", "ls *.fasta; echo {other}");
    EXPECT_TRUE(without.Call("A", "r").ends_with(".fasta\n{other}\n"))
        << "the read must be written even without a placeholder for it";
}

TEST(ExtAlignProcessCaller, CopiesHaveTheirOwnFolders) {
    ExtAlignProcessCaller original("", "", "pwd; ls | wc -l");
    auto copy = original.Copy();
    const auto first = original.Call("A", "r");
    const auto second = copy->Call("A", "r");
    EXPECT_NE(first, second);
    EXPECT_TRUE(first.ends_with("\n1\n"));
    const auto folder = second.substr(0, second.find('\n'));
    EXPECT_TRUE(std::filesystem::exists(folder));
    copy.reset();
    EXPECT_FALSE(std::filesystem::exists(folder));
    EXPECT_EQ(original.Call("A", "r"), first) << "the file of the previous call must be deleted";
}

}  // namespace
