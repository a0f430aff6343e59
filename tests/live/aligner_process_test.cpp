#include "live/aligner_process.h"

#include <cerrno>

#include <gtest/gtest.h>
#include <sys/wait.h>

#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"

TEST(AlignerProcess, LeavesNoZombieIfTheProgramCannotStart) {
    const Tests::TemporaryFolder folder;
    const auto missing = folder.Path("missing");
    EXPECT_EQ(Tests::ErrorOf([&] { const Live::AlignerProcess aligner({missing}, "/dev/null", folder.Path("log")); }),
              missing + ": No such file or directory");
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}
