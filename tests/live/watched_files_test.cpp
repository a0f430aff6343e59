#include "live/watched_files.h"

#include <ctime>

#include <gtest/gtest.h>

namespace {

using Phase = Live::Watched::Phase;
using Texts = std::vector<std::string>;

constexpr std::chrono::seconds kSettle{30};

// Simulates a watched folder and its clock, in seconds.
class Folder {
public:
    void Put(const std::string& name, std::uint64_t size, std::uint64_t inode = 0) {
        present[name] = {size, static_cast<std::int64_t>(size), inode == 0 ? std::hash<std::string>()(name) : inode};
    }
    void Move(const std::string& from, const std::string& to) {
        auto file = present.extract(from);
        file.key() = to;
        present.insert(std::move(file));
    }
    void Remove(const std::string& name) { present.erase(name); }

    // Updates `files` with the content of the folder. `file_time`: the time of the look by the clock of Stamp::time, in
    // seconds. By default, it is before all changes, so each change counts as made at `second`.
    Texts Look(int second, int file_time = 0) {
        std::vector<Live::FoundFile> found;
        for (const auto& [name, stamp] : present) {
            found.push_back({name, stamp});
        }
        return files.Update(found, At(second), std::chrono::nanoseconds(std::chrono::seconds(file_time)).count());
    }
    void SetDone(const std::string& name, std::uint64_t reads) {
        files.SetDone({name, files.At(name).stamp, reads, ""});
    }
    static Live::Time At(int second) { return Live::Time() + std::chrono::seconds(second); }
    Phase PhaseOf(const std::string& name) const { return files.At(name).phase; }

    std::map<std::string, Live::Stamp> present;
    Live::WatchedFiles files{kSettle};
};

TEST(WatchedFiles, FileWaitsOnceUnchangedForTheSettleTime) {
    Folder folder;
    folder.files.Restore({}, Folder::At(0));
    folder.Put("a.fq", 1);
    folder.Put("b.fq", 1);
    folder.Look(1);
    folder.Look(30);
    EXPECT_EQ(folder.files.Waiting(), Texts());
    folder.present["a.fq"].time = 2;  // The file was written again with the same size.
    folder.Look(31);
    EXPECT_EQ(folder.files.Waiting(), Texts{"b.fq"});
    folder.files.SetCut("b.fq", "cut");
    EXPECT_EQ(folder.files.NextSettled(), Folder::At(61));
    folder.Look(60);
    EXPECT_EQ(folder.files.Waiting(), Texts());
    EXPECT_FALSE(folder.files.IsQuiet());
    folder.Look(61);
    EXPECT_EQ(folder.files.Waiting(), Texts{"a.fq"});
    // A cut file waits again once it has grown and settled.
    EXPECT_FALSE(folder.files.WriterPauses());
    folder.Put("b.fq", 2);
    folder.Look(70);
    EXPECT_TRUE(folder.files.WriterPauses());
    folder.Look(100);
    EXPECT_EQ(folder.files.Waiting(), (Texts{"a.fq", "b.fq"}));
    EXPECT_EQ(folder.files.LastChange(), Folder::At(70));
    // A cut file also waits again when it is found to be complete.
    folder.files.SetCut("b.fq", "cannot be read");
    EXPECT_FALSE(folder.files.SetWhole("a.fq"));
    EXPECT_TRUE(folder.files.SetWhole("b.fq"));
    EXPECT_EQ(folder.files.Waiting(), (Texts{"a.fq", "b.fq"}));
    EXPECT_EQ(folder.files.At("b.fq").reason, "");
}

TEST(WatchedFiles, SettleTimeBeginsWithTheChangeIfTheClocksAllow) {
    const struct {
        int changed, file_time, settled;
    } cases[] = {{97, 99, 98}, {98, 99, 99}, {99, 99, 100}, {0, 99, 95}, {500, 99, 100}};
    for (const auto& one : cases) {
        Folder folder;
        folder.Put("old.fq", 1);
        folder.Look(94, 93);
        EXPECT_EQ(folder.files.NextSettled(),
                  Folder::At(94) + kSettle);  // Files may have changed just before the first look.
        folder.Look(95, 94);
        folder.Put("new.fq", 2);
        folder.present["new.fq"].time = std::chrono::nanoseconds(std::chrono::seconds(one.changed)).count();
        folder.Look(100, one.file_time);
        EXPECT_EQ(folder.files.At("new.fq").since, Folder::At(one.settled)) << one.changed;
    }
}

TEST(WatchedFiles, FileWithLostReadsIsTriedOnceMore) {
    Folder folder;
    folder.Put("a.fq", 1);
    folder.Look(0);
    folder.Look(30);
    folder.files.SetAligning("a.fq");
    EXPECT_EQ(folder.files.Waiting(), Texts());
    folder.files.SetLost("a.fq", "r1");
    EXPECT_EQ(folder.files.Waiting(), Texts{"a.fq"});
    folder.files.SetAligning("a.fq");
    folder.files.SetLost("a.fq", "r2");
    EXPECT_EQ(folder.files.Waiting(), Texts());
    EXPECT_EQ(folder.files.At("a.fq").reason, "r2");
    EXPECT_TRUE(folder.files.IsQuiet());
    folder.Put("a.fq", 2);  // A changed file is tried again.
    folder.Look(31);
    folder.Look(61);
    EXPECT_EQ(folder.files.Waiting(), Texts{"a.fq"});
}

TEST(WatchedFiles, ChangesOfAlignedFilesAreNamed) {
    Folder folder;
    folder.files.Restore({{"changed.fq", {1, 1, 1}, 5, ""},
                          {"gone.fq", {2, 2, 2}, 5, ""},
                          {"moved.fq", {3, 3, 3}, 5, ""},
                          {"failed.fq", {4, 4, 4}, std::nullopt, "r"}},
                         Folder::At(0));
    folder.Put("changed.fq", 10, 1);
    folder.Put("new.fq", 3, 3);
    folder.Put("failed.fq", 4, 4);
    EXPECT_EQ(folder.Look(1),
              (Texts{"changed.fq: it changed after it was aligned; the output keeps its former reads",
                     "new.fq: is moved.fq, renamed after it was aligned; the output keeps the former name",
                     "gone.fq: disappeared after it was aligned; the output keeps its reads"}));
    EXPECT_EQ(folder.Look(100), Texts());
    EXPECT_EQ(folder.files.Waiting(), Texts{"failed.fq"});  // Each run of the program tries failed files again.
    EXPECT_FALSE(folder.files.At("failed.fq").restored);
    folder.Put("new.fq", 30, 3);
    EXPECT_EQ(folder.Look(101), Texts{"new.fq: it changed after it was aligned; the output keeps its former reads"});
    folder.Put("changed.fq", 11, 1);
    EXPECT_EQ(folder.Look(110), Texts());  // A second change is not reported, but it shows that the writer is active.
    folder.Look(200);
    EXPECT_EQ(folder.files.LastChange(), Folder::At(110));
    EXPECT_EQ(folder.files.Waiting(), Texts{"failed.fq"});
}

TEST(WatchedFiles, RenamedFileIsAlignedOnce) {
    for (const bool is_lost : {false, true}) {
        Folder folder;
        folder.Put("a.tmp.fq", 1, 7);
        folder.Look(0);
        folder.Move("a.tmp.fq", "a.fq");
        EXPECT_EQ(folder.Look(5), Texts());
        folder.Look(30);  // The settle time includes the time under the former name.
        ASSERT_EQ(folder.files.Waiting(), Texts{"a.fq"});
        folder.files.SetAligning("a.fq");
        folder.Move("a.fq", "c.fq");
        EXPECT_EQ(folder.Look(40), Texts());
        EXPECT_EQ(folder.Look(80), Texts());  // The current round has not ended.
        if (is_lost) {
            folder.files.SetLost("a.fq", "r");
        } else {
            folder.SetDone("a.fq", 5);
        }
        const auto notice = "c.fq: is a.fq, renamed after it was aligned; the output keeps the former name";
        EXPECT_EQ(folder.Look(81), is_lost ? Texts() : Texts{notice});
        EXPECT_EQ(folder.files.Waiting(), is_lost ? Texts{"c.fq"} : Texts());
    }
}

// Between two looks, a file is renamed and a new file takes the old name, as when logs are rotated.
TEST(WatchedFiles, RotatedFileIsAlignedOnce) {
    for (const bool is_done : {false, true}) {
        for (const auto* const rotated : {"a.1.fq", "a.fq.1.fq"}) {  // Sorted before and after the former name.
            Folder folder;
            folder.Put("a.fq", 1, 7);
            folder.Look(0);
            folder.Look(30);
            folder.files.SetAligning("a.fq");
            if (is_done) {
                folder.SetDone("a.fq", 5);
            }
            folder.Move("a.fq", rotated);
            folder.Put("a.fq", 2, 8);
            auto told = folder.Look(31);
            std::sort(told.begin(), told.end());
            const Texts notices{
                std::string(rotated) + ": is a.fq, renamed after it was aligned; the output keeps the former name",
                "a.fq: it changed after it was aligned; the output keeps its former reads"};
            EXPECT_EQ(told, is_done ? notices : Texts());
            folder.Look(61);
            EXPECT_EQ(folder.files.Waiting().size(), is_done ? 0U : 2U);
        }
    }
}

TEST(WatchedFiles, FileThatChangesWhileItsRoundIsPublishedIsNamed) {
    for (const bool is_renamed : {false, true}) {
        Folder folder;
        folder.Put("a.fq", 9, 1);
        folder.Look(0);
        folder.Look(30);
        folder.files.SetAligning("a.fq");
        const auto aligned = folder.present["a.fq"];
        folder.Put("a.fq", 10, 1);
        EXPECT_EQ(folder.Look(31), Texts());
        if (is_renamed) {
            folder.Move("a.fq", "z.fq");
            EXPECT_EQ(folder.Look(32), Texts());
        }
        folder.files.SetDone({"a.fq", aligned, 7, ""});
        EXPECT_EQ(folder.Look(33),
                  Texts{is_renamed ? "a.fq: disappeared after it was aligned; the output keeps its reads"
                                   : "a.fq: it changed after it was aligned; the output keeps its former reads"});
        folder.Put("a.fastq", 3);
        EXPECT_EQ(folder.Look(34), Texts());
        folder.Look(64);
        EXPECT_EQ(folder.files.Waiting(), is_renamed ? Texts{"z.fq"} : Texts());
        EXPECT_EQ(folder.files.At("a.fastq").reason, "its SAM file a.sam is that of a.fq");
    }
}

// A file may be compressed or decompressed in any phase.
TEST(WatchedFiles, CompressedOrUncompressedFormOfAFileIsRecognised) {
    for (const auto& [name, other] : {std::pair("a.fq", "a.fq.gz"), std::pair("a.fq.gz", "a.fq")}) {
        for (const auto phase : {Phase::settling, Phase::waiting, Phase::cut, Phase::aligning, Phase::done}) {
            Folder folder;
            folder.Put(name, 9);
            folder.Look(0);
            folder.Look(phase == Phase::settling ? 1 : 30);
            if (phase == Phase::cut) {
                folder.files.SetCut(name, "cut");
            } else if (phase == Phase::aligning || phase == Phase::done) {
                folder.files.SetAligning(name);
            }
            if (phase == Phase::done) {
                folder.SetDone(name, 7);
            }
            folder.Put(other, 3);
            EXPECT_EQ(folder.Look(31), Texts());
            folder.Remove(name);
            EXPECT_EQ(folder.Look(35), Texts());
            EXPECT_EQ(folder.Look(61), Texts());
            if (phase == Phase::aligning) {
                EXPECT_EQ(folder.files.Waiting(), Texts());  // The current round has not ended.
                folder.SetDone(name, 7);
                EXPECT_EQ(folder.Look(62), Texts());
            }
            const bool is_done = phase == Phase::aligning || phase == Phase::done;
            EXPECT_EQ(folder.files.Waiting(), Texts{other});
            EXPECT_EQ(folder.files.All().count(name), is_done ? 1U : 0U);
            EXPECT_EQ(folder.files.FormerFormOf(other), is_done ? name : "");
            if (is_done) {
                Live::Notices notices;
                folder.files.SetOtherForm(other, name, notices);
                const auto word = other > std::string(name) ? ", compressed" : ", decompressed";
                EXPECT_EQ(notices.Texts(), Texts{std::string(other) + ": is " + name + word +
                                                 " after it was aligned; the output keeps the former name"});
                EXPECT_EQ(folder.Look(63), Texts());
                folder.Move(other, "new.fq");
                EXPECT_EQ(folder.Look(64), Texts{std::string("new.fq: is ") + other +
                                                 ", renamed after it was aligned; the output keeps the former name"});
                EXPECT_EQ(folder.Look(99), Texts());
                EXPECT_TRUE(folder.files.IsQuiet());
                // A renamed file may be compressed later.
                folder.Remove("new.fq");
                folder.Put("new.fq.gz", 3);
                EXPECT_EQ(folder.Look(100), Texts());
                EXPECT_EQ(folder.Look(130), Texts());
                EXPECT_EQ(folder.files.FormerFormOf("new.fq.gz"), name);
            }
        }
    }
    Folder folder;
    folder.Put("a.fq", 9);
    folder.Put("a.fq.gz", 3);
    folder.Look(0);
    EXPECT_EQ(folder.Look(30),
              Texts{"a.fq.gz: is aligned separately from a.fq, although it may be the same file in another form"});
    EXPECT_EQ(folder.files.Waiting(), (Texts{"a.fq", "a.fq.gz"}));
}

// Thousands of files must neither fill the screen nor take quadratic time.
TEST(WatchedFiles, ManyFilesAreNamedInFewLinesAndQuickly) {
    const auto begin = std::clock();
    constexpr int kFiles = 30'000;
    Folder folder;
    const auto name = [](int i, const char* start) { return start + std::to_string(kFiles + i) + ".fq"; };
    for (int i = 0; i < kFiles; ++i) {
        folder.Put(name(i, "a"), 1 + static_cast<std::uint64_t>(i));
    }
    folder.Look(0);
    folder.Look(30);
    for (const auto& one : folder.files.Waiting()) {
        folder.files.SetAligning(one);
        folder.SetDone(one, 1);
    }
    for (int i = 0; i < kFiles; ++i) {
        folder.Move(name(i, "a"), name(i, "b"));
    }
    const auto renamed = folder.Look(31);
    ASSERT_EQ(renamed.size(), 4U);
    EXPECT_EQ(renamed[0], "b30000.fq: is a30000.fq, renamed after it was aligned; the output keeps the former name");
    EXPECT_EQ(renamed[3], "29997 more files were renamed after they were aligned; the output keeps the former names");
    for (int i = 0; i < kFiles; ++i) {
        folder.Move(name(i, "b"), name(i, "a"));
    }
    EXPECT_EQ(folder.Look(32), Texts());
    folder.present.clear();
    const auto gone = folder.Look(33);
    // If only one file is left after the first three, it is named, too.
    for (int i = 0; i < 4; ++i) {
        folder.Put(name(i, "c"), 1);
    }
    folder.Look(34);
    folder.present.clear();
    EXPECT_EQ(folder.Look(35).back(), "c30003.fq: it disappeared before it was aligned");
    ASSERT_EQ(gone.size(), 4U);
    EXPECT_EQ(gone[3], "29997 more files disappeared after they were aligned; the output keeps their reads");
    EXPECT_LT((std::clock() - begin) / CLOCKS_PER_SEC, 5);  // A search of all files for each file would take a minute.
}

TEST(WatchedFiles, FileThatDisappearsUnalignedIsNamedAndMayComeBack) {
    Folder folder;
    folder.Put("a.fq", 1);
    folder.Look(0);
    folder.Remove("a.fq");
    EXPECT_EQ(folder.Look(1), Texts{"a.fq: it disappeared before it was aligned"});
    EXPECT_EQ(folder.Look(2), Texts());
    EXPECT_EQ(folder.files.At("a.fq").reason, "it disappeared before it was aligned");
    folder.Put("a.fq", 1);
    folder.Look(3);
    folder.Look(33);
    EXPECT_EQ(folder.files.Waiting(), Texts{"a.fq"});
    EXPECT_EQ(folder.files.At("a.fq").reason, "");
}

TEST(WatchedFiles, SecondFileWithTheSameSamNameIsGivenUp) {
    Folder folder;
    folder.Put("d/a.fastq", 1);
    folder.Put("a.fq", 2);
    folder.Look(0);
    folder.Put("d/a.fq", 3);
    folder.Put("b\t.fq", 4);
    folder.Look(10);
    folder.Look(40);
    EXPECT_EQ(folder.files.Waiting(), (Texts{"a.fq", "d/a.fastq"}));
    EXPECT_EQ(folder.files.At("d/a.fq").reason, "its SAM file d/a.sam is that of d/a.fastq");
    EXPECT_EQ(folder.files.At("b\t.fq").reason, "names with tabs or line feeds are not supported");
    // One path cannot be both a SAM file and a folder.
    folder.Put("d/a.sam/x/b.fq", 5);
    folder.Put("e/b.sam.d/a.fq", 6);
    folder.Put("e/b.sam/x/a.fq", 7);
    folder.Look(50);
    folder.Put("e/b.fq", 8);
    folder.Look(60);
    folder.Look(80);
    folder.Look(90);
    EXPECT_EQ(folder.files.Waiting(), (Texts{"a.fq", "d/a.fastq", "e/b.sam.d/a.fq", "e/b.sam/x/a.fq"}));
    EXPECT_EQ(folder.files.At("d/a.sam/x/b.fq").reason,
              "its SAM file d/a.sam/x/b.sam conflicts with d/a.sam, that of d/a.fastq");
    EXPECT_EQ(folder.files.At("e/b.fq").reason,
              "its SAM file e/b.sam conflicts with e/b.sam/x/a.sam, that of e/b.sam/x/a.fq");
}

}  // namespace
