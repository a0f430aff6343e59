#include "common/process_launcher.h"

#include <algorithm>
#include <filesystem>
#include <regex>
#include <stdexcept>

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/common/captured_log.h"
#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"

namespace {

namespace fs = std::filesystem;
using Tests::Lines;

class TestedLauncher : public Common::ProcessLauncher {
public:
    using ProcessLauncher::directory, ProcessLauncher::max_output_size, ProcessLauncher::ProcessLauncher;
    std::string ErrorOf(const std::string& command) {
        return Tests::ErrorOf([&] { Launch(command, true); });
    }
};

// Checks that a test leaves no descriptor open, and restores the current folder.
class ProcessLauncherTest : public testing::Test {
protected:
    ~ProcessLauncherTest() override {
        EXPECT_EQ(Tests::OpenDescriptors(), descriptors);
        fs::current_path(start);
    }

    Tests::TemporaryFolder folder;
    fs::path start = fs::current_path();
    std::ptrdiff_t descriptors = Tests::OpenDescriptors();
};

TEST_F(ProcessLauncherTest, OutputArrivesByteForByte) {
    TestedLauncher launcher("");
    const std::string odd = "\x01\x7f\xff\xfe \t\r\x0c";
    for (const std::size_t length : {0U, 1U, 1021U, 1022U, 1023U, 1024U, 1025U, 100000U}) {
        const auto text = std::string(length, 'x') + "\n\n" + odd;
        launcher.WriteFile("text", text);
        EXPECT_EQ(launcher.Launch("cat text", true), 0);
        EXPECT_EQ(launcher.output == text, true) << length;
    }
}

TEST_F(ProcessLauncherTest, StatusIsReturnedUndecodedOrThrown) {
    TestedLauncher launcher("");
    EXPECT_EQ(launcher.Launch("exit 3", false), 768);
    EXPECT_EQ(launcher.Launch("kill -9 $$", false), 9);
    EXPECT_EQ(launcher.ErrorOf("exit 3"), "Command 'exit 3' finished with error code 768");
    EXPECT_EQ(launcher.ErrorOf("kill -9 $$"), "Command 'kill -9 $$' finished with error code 9");
    EXPECT_EQ(fs::current_path(), start) << "the current folder is restored after a failed command, too";
    EXPECT_THROW(TestedLauncher(folder.Write("file", "")).Launch("true", true), std::runtime_error);
    EXPECT_EQ(fs::current_path(), start);
}

// A command that another thread starts at the same time must not keep the pipe open.
TEST_F(ProcessLauncherTest, ThePipeIsNotInherited) {
    TestedLauncher launcher("");
    const int next = ::dup(STDOUT_FILENO);  // The pipe will get this number.
    ::close(next);
    launcher.Launch("grep flags /proc/$PPID/fdinfo/" + std::to_string(next), true);
    EXPECT_EQ(launcher.output, "flags:\t02000000\n") << "O_CLOEXEC";
}

// Deliberate: callers find the command's files in the working directory.
TEST_F(ProcessLauncherTest, ExcessiveOutputThrowsWithoutRestoringTheWorkingDirectory) {
    TestedLauncher launcher(folder.Path("."));
    launcher.max_output_size = 5000;
    EXPECT_EQ(launcher.Launch("head -c 5000 /dev/zero | tr '\\0' x", true), 0);
    EXPECT_EQ(launcher.ErrorOf("yes"), "Output read from command 'yes' is longer than allowed buffer.");
    EXPECT_TRUE(fs::equivalent(fs::current_path(), folder.Path(".")));
}

TEST_F(ProcessLauncherTest, OwnedFolderIsCreatedOnUseAndRemovedWithItsOwner) {
    const Tests::CapturedLog log;
    const std::regex unique("([0-9a-f]{4}-){3}[0-9a-f]{4}(\\.fasta)?");
    std::string used, unused;
    {
        const TestedLauncher never_used("");
        unused = never_used.directory;
        const TestedLauncher launcher("");
        used = launcher.directory;
        EXPECT_TRUE(std::regex_match(fs::path(used).filename().string(), unique));
        EXPECT_FALSE(fs::exists(used));
        const auto name = launcher.NewFilename(".fasta");
        EXPECT_TRUE(std::regex_match(name, unique)) << name;
        EXPECT_EQ(launcher.WriteFile(name, "a\n\nb"), used + "/" + name);
        EXPECT_EQ(launcher.ReadFile(name), (Lines{"a", "", "b"}));
        launcher.DeleteFile(name);
        launcher.DeleteFile(name);
        launcher.WriteFile("left", "");
    }
    EXPECT_FALSE(fs::exists(used));
    const auto records = log.Of("verbose");
    EXPECT_EQ(Lines(records.end() - 2, records.end()),
              (Lines{"Removed temp directory " + used + ", in total 2 files and directories.",
                     "Removed temp directory " + unused + ", in total 0 files and directories."}));
}

TEST_F(ProcessLauncherTest, ProgressIsLoggedAndABorrowedFolderStays) {
    const Tests::CapturedLog log;
    const auto directory = folder.Path(".");
    TestedLauncher(directory).Launch("echo one", true);
    EXPECT_EQ(log.Of("verbose"),
              (Lines{"Using existing directory " + directory, "Changed current directory to " + directory,
                     "Sucessfully opened pipe to command 'echo one'.", "Received data from pipe:", "one\n",
                     "echo ended with with code 0", "Set working path back to previous: " + start.string()}));
    EXPECT_TRUE(fs::exists(directory));
}

}  // namespace
