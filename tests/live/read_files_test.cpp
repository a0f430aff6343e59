#include "live/read_files.h"

#include <filesystem>

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/common/temporary_folder.h"

namespace {

namespace fs = std::filesystem;

TEST(ReadFiles, OnlyFoldersThatCannotBeListedAreLeftOut) {
    constexpr uid_t kNobody = 65534;
    const Tests::TemporaryFolder folder;
    const auto root = folder.Path("");
    fs::permissions(root, fs::perms::all);
    for (const auto* const name : {"closed", "open/x", "open/.live/round"}) {
        fs::create_directories(folder.Path(name));
        folder.Write(std::string(name) + "/a.fq", "x");
    }
    fs::permissions(folder.Path("closed"), fs::perms::none);
    const bool is_root = ::geteuid() == 0;  // Root can list any folder.
    ASSERT_TRUE(!is_root || ::seteuid(kNobody) == 0);
    const auto look = Live::LookAt(root, "");
    ASSERT_TRUE(!is_root || ::seteuid(0) == 0);
    fs::permissions(folder.Path("closed"), fs::perms::all);
    ASSERT_EQ(look.files.size(), 1U);
    EXPECT_EQ(look.files[0].name, "open/x/a.fq");
    EXPECT_EQ(look.left_out, (std::map<std::string, std::string>{{"closed", "Permission denied"}}));
    EXPECT_EQ(look.unreadable, std::vector<std::string>{"closed"});
}

TEST(ReadFiles, OnlyAFileEndsTheRun) {
    const Tests::TemporaryFolder folder;
    for (const auto* const name : {"below/folder", "below/.live"}) {
        fs::create_directories(folder.Path(name));
    }
    folder.Write("file", "");
    folder.Write("below/file below", "");
    folder.Write("below/.live/hidden", "");
    fs::create_symlink("file", folder.Path("link to a file"));
    fs::create_directory_symlink("below", folder.Path("link to a folder"));
    const std::pair<std::string, bool> cases[] = {
        {"file", true},    {"file below", true},        {"link to a file", true},
        {"folder", false}, {"link to a folder", false}, {".live", false},
        {"hidden", false}, {"missing", false},          {"", false},
    };
    for (const auto& [name, ends] : cases) {
        EXPECT_EQ(Live::LookAt(folder.Path(""), name).end_file, ends) << name;
    }
}

}  // namespace
