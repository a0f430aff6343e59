#include "live/watched_files.h"

#include <gtest/gtest.h>

namespace {

using Phase = Live::Watched::Phase;
using Texts = std::vector<std::string>;

constexpr std::chrono::seconds kSettle{30};

// A watched folder with a clock of its own, in seconds.
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

    Texts Look(int second) {
        std::vector<Live::FoundFile> found;
        for (const auto& [name, stamp] : present) {
            found.push_back({name, stamp});
        }
        return files.Update(found, At(second));
    }
    static Live::Time At(int second) { return Live::Time() + std::chrono::seconds(second); }
    Phase PhaseOf(const std::string& name) const { return files.At(name).phase; }

    std::map<std::string, Live::Stamp> present;
    std::map<std::string, std::string> cut;  // Reasons.
    Live::WatchedFiles files{
        kSettle, [this](const std::string& name) {
            return cut.count(name) == 0 ? Live::Content{true, ""} : Live::Content{false, cut[name]};
        }};
};

TEST(WatchedFiles, FileWaitsOnceItIsUnchangedForTheSettleTimeAndWhole) {
    Folder folder;
    folder.files.Restore({}, Folder::At(0));
    folder.Put("a.fq", 1);
    folder.Put("b.fq", 1);
    folder.cut["b.fq"] = "cut";
    folder.Look(1);
    folder.Look(30);
    EXPECT_EQ(folder.files.Waiting(), Texts());
    folder.present["a.fq"].time = 2;  // Written again with the same size.
    folder.Look(31);
    EXPECT_EQ(folder.PhaseOf("b.fq"), Phase::cut);
    EXPECT_EQ(folder.files.NextSettled(), Folder::At(61));
    folder.Look(60);
    EXPECT_EQ(folder.files.Waiting(), Texts());
    EXPECT_FALSE(folder.files.IsQuiet());
    folder.Look(61);
    EXPECT_EQ(folder.files.Waiting(), Texts{"a.fq"});
    // A cut file goes on when it grows.
    folder.cut.clear();
    folder.Put("b.fq", 2);
    folder.Look(70);
    folder.Look(100);
    EXPECT_EQ(folder.files.Waiting(), (Texts{"a.fq", "b.fq"}));
    EXPECT_EQ(folder.files.LastChange(), Folder::At(70));
    // Another one becomes readable without a change.
    folder.cut["c.fq"] = "cannot be read";
    folder.Put("c.fq", 1);
    folder.Look(100);
    folder.Look(130);
    EXPECT_FALSE(folder.files.ReadCutAgain());
    folder.cut.clear();
    EXPECT_TRUE(folder.files.ReadCutAgain());
    EXPECT_EQ(folder.files.Waiting(), (Texts{"a.fq", "b.fq", "c.fq"}));
    EXPECT_EQ(folder.files.At("c.fq").reason, "");
}

TEST(WatchedFiles, LostFileIsTriedOnceMore) {
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
    folder.Put("a.fq", 2);  // Replaced by a better one.
    folder.Look(31);
    folder.Look(61);
    EXPECT_EQ(folder.files.Waiting(), Texts{"a.fq"});
}

TEST(WatchedFiles, NamesWhatHappensToAlignedFiles) {
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
              (Texts{"changed.fq: it changed after it was aligned; the output holds its former reads",
                     "new.fq: is moved.fq, renamed after it was aligned; the output keeps the former name",
                     "gone.fq: disappeared after it was aligned; the output keeps its reads"}));
    EXPECT_EQ(folder.Look(100), Texts());
    EXPECT_EQ(folder.files.Waiting(), Texts{"failed.fq"});  // Each call tries it again.
    EXPECT_FALSE(folder.files.At("failed.fq").restored);
    folder.Put("new.fq", 30, 3);
    EXPECT_EQ(folder.Look(101), Texts{"new.fq: it changed after it was aligned; the output holds its former reads"});
    folder.Look(200);
    EXPECT_EQ(folder.files.Waiting(), Texts{"failed.fq"});
}

TEST(WatchedFiles, RenamedFileIsAlignedOnce) {
    for (const bool is_lost : {false, true}) {
        Folder folder;
        folder.Put("a.tmp.fq", 1, 7);
        folder.Look(0);
        folder.Move("a.tmp.fq", "a.fq");
        EXPECT_EQ(folder.Look(5), Texts());
        folder.Look(30);  // The time under the former name counts.
        ASSERT_EQ(folder.files.Waiting(), Texts{"a.fq"});
        folder.files.SetAligning("a.fq");
        folder.Move("a.fq", "c.fq");
        EXPECT_EQ(folder.Look(40), Texts());
        EXPECT_EQ(folder.Look(80), Texts());  // The round decides.
        if (is_lost) {
            folder.files.SetLost("a.fq", "r");
        } else {
            folder.files.SetDone("a.fq", "");
        }
        const auto notice = "c.fq: is a.fq, renamed after it was aligned; the output keeps the former name";
        EXPECT_EQ(folder.Look(81), is_lost ? Texts() : Texts{notice});
        EXPECT_EQ(folder.files.Waiting(), is_lost ? Texts{"c.fq"} : Texts());
    }
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

TEST(WatchedFiles, SecondFileOfASamNameIsGivenUp) {
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
}

}  // namespace
