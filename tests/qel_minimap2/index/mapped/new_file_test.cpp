#include "qel_minimap2/index/mapped/new_file.h"

#include <csignal>
#include <filesystem>
#include <list>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"

namespace {

using namespace qel_minimap2;

class NewFiles : public testing::TestWithParam<NewFile::Naming> {
protected:
    std::size_t Files() const {
        return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder.Path(".")), {}));
    }

    Tests::TemporaryFolder folder;
    const std::string path = folder.Write("file", "older");
};

TEST_P(NewFiles, AppearCompleteOrNotAtAll) {
    {
        const NewFile unfinished(path, 5, GetParam());
        unfinished.Write(0, "begun", 5);
        EXPECT_EQ(Files(), GetParam() == NewFile::Naming::hidden ? 2U : 1U);
        EXPECT_EQ(Tests::ReadAll(path), "older");
    }
    EXPECT_EQ(Files(), 1U);
    EXPECT_EQ(Tests::ReadAll(path), "older");
    NewFile finished(path, 5, GetParam());
    finished.Write(2, "wer", 3);
    finished.Write(0, "ne", 2);
    finished.Publish();
    EXPECT_EQ(Tests::ReadAll(path), "newer");
    EXPECT_EQ(Files(), 1U);
}

TEST_P(NewFiles, AreRemovedForASignalHandler) {
    std::list<NewFile> files;
    for (int i = 0; i < 40; ++i) {
        files.emplace_back(path, 5, GetParam());
    }
    NewFile::RemoveUnfinished();
    EXPECT_EQ(Files(), 1U);
}

TEST_P(NewFiles, AFullDiskIsReportedAndLeavesNothing) {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    ::getrlimit(RLIMIT_FSIZE, &before);
    const rlimit little{1000, before.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &little);
    const auto reason = Tests::ErrorOf([&] {
        const NewFile file(path, 2000, GetParam());
        file.Write(0, std::string(2000, 'x').data(), 2000);
    });
    ::setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(reason, "File too large");
    EXPECT_EQ(Tests::ReadAll(path), "older");
    EXPECT_EQ(Files(), 1U);
}

// Two processes in different containers may have the same ID and so choose the same names. In this test, symbolic links
// have already taken the names.
TEST_P(NewFiles, HiddenFilesOfOtherProcessesStay) {
    constexpr int kTaken = 200;
    const auto name = [this](int number) {
        return folder.Path(".tavik_index." + std::to_string(::getpid()) + "." + std::to_string(number));
    };
    for (int number = 0; number < kTaken; ++number) {
        std::filesystem::create_symlink("nowhere", name(number));
    }
    NewFile file(path, 5, GetParam());
    file.Write(0, "newer", 5);
    file.Publish();
    NewFile::RemoveUnfinished();
    EXPECT_EQ(Tests::ReadAll(path), "newer");
    EXPECT_EQ(Files(), kTaken + 1U);
}

INSTANTIATE_TEST_SUITE_P(Naming, NewFiles, testing::Values(NewFile::Naming::late, NewFile::Naming::hidden),
                         [](const auto& naming) { return naming.param == NewFile::Naming::late ? "Late" : "Hidden"; });

TEST(NewFile, ReplacesTheTargetOfALink) {
    const Tests::TemporaryFolder folder, elsewhere;
    const auto link = folder.Path("link");
    const auto target = elsewhere.Write("target", "older");
    std::filesystem::create_symlink(target, folder.Path("step"));
    std::filesystem::create_symlink("step", link);
    for (const bool exists : {true, false}) {
        if (!exists) {
            std::filesystem::remove(target);
        }
        NewFile file(link, 5);
        file.Write(0, "newer", 5);
        file.Publish();
        EXPECT_TRUE(std::filesystem::is_symlink(link)) << exists;
        EXPECT_EQ(Tests::ReadAll(target), "newer") << exists;
    }
    std::filesystem::create_symlink("loop", folder.Path("loop"));
    EXPECT_EQ(Tests::ErrorOf([&] { const NewFile file(folder.Path("loop"), 5); }), "Too many levels of symbolic links");
}

}  // namespace
