#include "live/output_folder.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "live/disk_files.h"
#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"

namespace {

namespace fs = std::filesystem;

// Runs at the disk-changing call that `calls_left` selects. That call fails unless this function returns 0.
std::function<int()> fault;
int calls_left = -1;  // The number of calls that succeed before the fault; negative: no fault.

// If set, records the calls that change the disk.
std::vector<std::string>* noted = nullptr;

// Returns true if the call must fail.
bool Strikes(const char* name, const char* path = "") {
    if (noted != nullptr) {
        noted->push_back(std::string(name) + path);
    }
    return calls_left >= 0 && calls_left-- == 0 && fault() != 0;
}

// After a failed sync, data may be lost even if a second sync succeeds. Here, the last bytes are lost.
bool StrikesSync(int file) {
    constexpr off_t kLost = 20;
    if (!Strikes("sync")) {
        return false;
    }
    const int error = errno;
    const int again = ::open(("/proc/self/fd/" + std::to_string(file)).c_str(), O_WRONLY | O_CLOEXEC);
    if (again >= 0) {  // A folder cannot be opened for writing.
        const auto size = ::lseek(again, 0, SEEK_END);
        const std::string zeros(static_cast<std::size_t>(std::min(size, kLost)), '\0');
        ::lseek(again, -static_cast<off_t>(zeros.size()), SEEK_END);
        EXPECT_EQ(::write(again, zeros.data(), zeros.size()), static_cast<ssize_t>(zeros.size()));
        ::close(again);
    }
    errno = error;
    return true;
}

}  // namespace

// The linker replaces the system's functions with these.
extern "C" {
int __real_rename(const char*, const char*);
int __real_link(const char*, const char*);
int __real_ftruncate(int, off_t);
ssize_t __real_pwrite(int, const void*, size_t, off_t);

int __wrap_rename(const char* from, const char* to) {
    return Strikes("rename to ", to) ? -1 : __real_rename(from, to);
}
int __wrap_link(const char* from, const char* to) {
    return Strikes("link") ? -1 : __real_link(from, to);
}
int __wrap_fsync(int file) {
    return StrikesSync(file) ? -1 : 0;
}
int __wrap_fdatasync(int file) {
    return StrikesSync(file) ? -1 : 0;
}
int __wrap_ftruncate(int file, off_t size) {
    return Strikes("truncate") ? -1 : __real_ftruncate(file, size);
}
ssize_t __wrap_pwrite(int file, const void* data, size_t size, off_t position) {
    if (calls_left == 0) {  // A write that fails may have written a part of the data.
        __real_pwrite(file, data, size / 2, position);
    }
    return Strikes("write") ? -1 : __real_pwrite(file, data, size, position);
}
}

namespace {

const std::string kHeader =
    "read_id\talignment_genome\talignment_genome_start\talignment_genome_end\talignment_strand_start\t"
    "alignment_strand_end\talignment_num_insertions\talignment_num_deletions\talignment_num_aligned\t"
    "alignment_num_correct\talignment_identity\talignment_accuracy\talignment_score\n";

Live::RunState Start() {
    Live::RunState state;
    state.input = "/reads";
    state.shown_input = "reads";
    return state;
}

std::string Rows(int rounds) {
    std::string rows;
    for (int round = 1; round <= rounds; ++round) {
        rows += "row of round " + std::to_string(round) + "\n";
    }
    return rows;
}

std::string Log(int rounds) {
    std::string log;
    for (int round = 1; round <= rounds; ++round) {
        log += "record in the log of round " + std::to_string(round) + "\n";
    }
    return log;
}

void WriteText(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios_base::binary) << text;
}

// Writes the files of the round that follows the rounds in `state`: the results of two input files, one of them in a
// sub-folder.
void MakeRound(const Live::OutputFolder& output, Live::RunState state) {
    const int round = static_cast<int>(state.files.size()) / 2 + 1;
    const auto number = std::to_string(round);
    const auto folder = output.RoundPath();
    fs::create_directories(folder);
    WriteText(folder + "/0.sam", "sam " + number);
    WriteText(folder + "/1.sam", "sub sam " + number);
    WriteText(folder + "/moves", "0.sam\t" + number + ".sam\n1.sam\tsub/" + number + ".sam\n");
    WriteText(folder + "/rows", kHeader + "row of round " + number + "\n");
    WriteText(folder + "/log", "record in the log of round " + number + "\n");
    state.files.push_back({number + ".fq", {1, 2, 3}, 1, ""});
    state.files.push_back({"sub/" + number + ".fq", {1, 2, 3}, 0, "a reason"});
    state.log_name = "log.log";
    state.log_bytes = Log(round).size();
    state.summary_bytes = kHeader.size() + Rows(round).size();
    WriteText(folder + "/state", state.Text());
}

void Publish(Live::OutputFolder& output) {
    MakeRound(output, output.Open(Start()));
    output.Prepare();
    output.Publish();
}

// Checks that the folder contains the results of this number of rounds and no unfinished round.
void ExpectRounds(const std::string& path, int rounds) {
    EXPECT_EQ(Live::ReadFile(path + "/alignment_summary.txt"), kHeader + Rows(rounds));
    std::string table = "reads\tsam\tfile\n";
    for (int round = 1; round <= rounds; ++round) {
        const auto number = std::to_string(round);
        EXPECT_EQ(Live::ReadFile(path + "/" + number + ".sam"), "sam " + number);
        EXPECT_EQ(Live::ReadFile(path + "/sub/" + number + ".sam"), "sub sam " + number);
        table +=
            "1\t" + number + ".sam\treads/" + number + ".fq\n0\tsub/" + number + ".sam\treads/sub/" + number + ".fq\n";
    }
    EXPECT_EQ(Live::ReadFile(path + "/files.tsv"), table);
    if (rounds > 0) {
        EXPECT_EQ(Live::ReadFile(path + "/log.log"), Log(rounds));
    }
    EXPECT_FALSE(fs::exists(path + "/.live/round"));
    EXPECT_FALSE(fs::exists(path + "/.live/ready"));
}

// Kills a process at each wrapped call in turn, in the first round and in the third.
TEST(OutputFolder, KilledPublicationIsCompletedOrUndone) {
    for (const int before : {0, 2}) {
        int kills = 0;
        for (bool killed = true; killed; ++kills) {
            const Tests::TemporaryFolder folder;
            const auto path = folder.Path("out");
            const pid_t child = ::fork();
            if (child == 0) {
                Live::OutputFolder output(path);
                for (int round = 0; round < before; ++round) {
                    Publish(output);
                }
                fault = []() -> int { _exit(9); };
                calls_left = kills;
                MakeRound(output, output.Open(Start()));
                output.Prepare();
                output.Publish();
                _exit(0);
            }
            int status = 0;
            ::waitpid(child, &status, 0);
            ASSERT_TRUE(WIFEXITED(status) && (WEXITSTATUS(status) == 9 || WEXITSTATUS(status) == 0));
            killed = WEXITSTATUS(status) == 9;
            // Even now, readers see only complete rounds and find the SAM files of their rows.
            const auto summary_path = path + "/alignment_summary.txt";
            const auto summary = fs::exists(summary_path) ? Live::ReadFile(summary_path) : kHeader;
            const int seen = summary == kHeader + Rows(before) ? before : before + 1;
            EXPECT_EQ(summary, kHeader + Rows(seen));
            for (int round = 1; round <= seen; ++round) {
                EXPECT_TRUE(fs::exists(path + "/" + std::to_string(round) + ".sam"));
            }
            Live::OutputFolder output(path);
            const auto rounds = static_cast<int>(output.Open(Start()).files.size()) / 2;
            EXPECT_TRUE(rounds == before || rounds == before + 1) << rounds;
            EXPECT_GE(rounds, seen);
            ExpectRounds(path, rounds);
            Publish(output);
            ExpectRounds(path, rounds + 1);
        }
        EXPECT_GT(kills, 15);
    }
}

TEST(OutputFolder, PublicationThatFailedCanBeRepeated) {
    int failures = 0;
    for (bool failed = true; failed; ++failures) {
        const Tests::TemporaryFolder folder;
        Live::OutputFolder output(folder.Path("out"));
        Publish(output);
        Publish(output);
        const auto state = output.Open(Start());
        MakeRound(output, state);
        fault = [] { return errno = ENOSPC; };
        calls_left = failures;
        try {
            output.Prepare();
        } catch (const std::system_error& error) {
            EXPECT_TRUE(Live::IsDiskFull(error.code().value()));
            MakeRound(output, state);
            output.Prepare();
        }
        try {
            output.Publish();
        } catch (const std::system_error& error) {
            EXPECT_TRUE(Live::IsDiskFull(error.code().value()));
            output.Publish();
        }
        failed = calls_left < 0;
        calls_left = -1;
        ExpectRounds(folder.Path("out"), 3);
        Publish(output);
        ExpectRounds(folder.Path("out"), 4);
    }
    EXPECT_GT(failures, 15);
}

TEST(OutputFolder, ManyFilesAreSyncedTogether) {
    const Tests::TemporaryFolder folder;
    Live::OutputFolder output(folder.Path("out"));
    MakeRound(output, output.Open(Start()));
    for (int i = 0; i < 100; ++i) {
        WriteText(output.RoundPath() + "/more" + std::to_string(i), "x");
    }
    std::vector<std::string> calls;
    noted = &calls;
    output.Prepare();
    output.Publish();
    noted = nullptr;
    EXPECT_LT(std::count(calls.begin(), calls.end(), "sync"), 15);
    ExpectRounds(folder.Path("out"), 1);
}

// After a round's first SAM file appears, only renames happen until its rows appear.
TEST(OutputFolder, SamFilesAndRowsAppearTogether) {
    const Tests::TemporaryFolder folder;
    const auto path = folder.Path("out");
    Live::OutputFolder output(path);
    Publish(output);
    MakeRound(output, output.Open(Start()));
    output.Prepare();
    std::vector<std::string> calls;
    noted = &calls;
    output.Publish();
    noted = nullptr;
    const auto first = std::find(calls.begin(), calls.end(), "rename to " + path + "/2.sam");
    ASSERT_GE(calls.end() - first, 5);
    EXPECT_EQ(std::vector(first, first + 5),
              (std::vector<std::string>{"rename to " + path + "/2.sam", "rename to " + path + "/sub/2.sam",
                                        "rename to " + path + "/alignment_summary.txt",
                                        "rename to " + path + "/.live/alignment_summary.txt",
                                        "rename to " + path + "/files.tsv"}));
}

TEST(OutputFolder, ReaderKeepsTheRowsItBeganWith) {
    const Tests::TemporaryFolder folder;
    Live::OutputFolder output(folder.Path("out"));
    Publish(output);
    std::ifstream reader(folder.Path("out/alignment_summary.txt"));
    for (int round = 2; round <= 5; ++round) {
        Publish(output);
    }
    EXPECT_EQ((std::string{std::istreambuf_iterator<char>(reader), {}}), kHeader + Rows(1));
    ExpectRounds(folder.Path("out"), 5);
}

TEST(OutputFolder, RefusesTheResultsOfOtherRuns) {
    const Tests::TemporaryFolder folder;
    const auto out = folder.Path("out");
    const auto message = [&](const Live::RunState& start) {
        return Tests::ErrorOf([&] { Live::OutputFolder(out).Open(start); });
    };
    fs::create_directories(out);
    WriteText(out + "/alignment_summary.txt", "x");
    EXPECT_EQ(message(Start()), out + ": contains the results of another run");
    EXPECT_FALSE(fs::exists(out + "/.live"));
    fs::remove_all(out);
    fs::create_directories(out + "/.live/state");  // Opening a folder succeeds, but reading it fails.
    EXPECT_EQ(message(Start()), out + "/.live/state: Is a directory");
    fs::remove_all(out);
    auto other = Start();
    other.input = "/other";
    other.min_coverage = "0.5";
    // A call with other options is accepted as long as there are no results.
    EXPECT_EQ(message(other), "nothing thrown");
    EXPECT_EQ(message(Start()), "nothing thrown");
    {
        Live::OutputFolder output(out);
        MakeRound(output, output.Open(Start()));
        output.Prepare();  // The next call with the same options publishes the round.
    }
    EXPECT_NE(message(other), "nothing thrown");
    EXPECT_EQ(message(Start()), "nothing thrown");
    EXPECT_EQ(message(other),
              out +
                  ": its results were made with other options:\n  --input_path: /reads then, /other now\n"
                  "  --min_coverage:  then, 0.5 now");
    std::ofstream(out + "/alignment_summary.txt", std::ios_base::app) << "row\n";
    EXPECT_EQ(message(Start()), out + "/alignment_summary.txt: changed by another program: it has " +
                                    std::to_string((kHeader + Rows(1)).size() + 4) + " bytes instead of " +
                                    std::to_string((kHeader + Rows(1)).size()));
    const Live::OutputFolder first(out);
    EXPECT_EQ(message(Start()), out + ": another tavik_live is running on this folder");
}

}  // namespace
