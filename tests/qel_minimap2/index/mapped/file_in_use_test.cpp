#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include "qel_minimap2/index/index_loading.h"
#include "qel_minimap2/index/mapped/index_writer.h"
#include "qel_minimap2/index/mapped/mapped_index.h"
#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"

namespace {

using namespace qel_minimap2;

class FileInUseDeathTest : public testing::Test {
protected:
    FileInUseDeathTest() {
        mm_idxopt_t options;
        mm_mapopt_t unused;
        mm_set_opt(nullptr, &options, &unused);
        unsigned state = 5;
        MakeIndexFile(folder.Write("reference.fa", ">a\n" + Tests::RandomBases(state, 5000) + "\n"), options, path);
        ChangeTime(-1);  // Without this, the next write could leave the file's time unchanged.
    }
    void ChangeTime(int hours) const {
        std::filesystem::last_write_time(path, std::filesystem::last_write_time(path) + std::chrono::hours(hours));
    }

    const Tests::TemporaryFolder folder;
    const std::string path = folder.Path("own"), start = "^libqel_minimap2: " + path + ": ";
};

// Simulates another program that writes to the source index after its first block has been copied.
class DisturbedWriter : public IndexWriter {
public:
    DisturbedWriter(const std::string& copy, std::string source) : IndexWriter(copy), source(std::move(source)) {}
    void Take(std::size_t block, const SeedTable::BlockMemory& content, Pages memory) override {
        IndexWriter::Take(block, content, std::move(memory));
        if (block == 0) {
            std::fstream file(source, std::ios_base::in | std::ios_base::out | std::ios_base::binary);
            file.seekp(kPageSize) << std::string(std::filesystem::file_size(source) - kPageSize, '\xff') << std::flush;
        }
    }

private:
    const std::string source;
};

TEST_F(FileInUseDeathTest, ACopyOfAnIndexThatChangesDoesNotReplaceTheOlderFile) {
    const auto copy = folder.Write("copy", "older");
    const auto write = [&] {
        const auto index = MapIndex(path);
        DisturbedWriter writer(copy, path);
        WriteIndex(*index, writer);
        writer.Publish();
    };
    EXPECT_EXIT(write(), testing::ExitedWithCode(1), start + "the index was written to while it was in use");
    EXPECT_TRUE(Tests::ReadAll(copy) == "older");
}

TEST_F(FileInUseDeathTest, ALackOfMemoryForTheSecondCheckIsNotBlamedOnTheFile) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "Sanitizers need additional address space.";
#endif
    const auto use = [&] {
        const auto index = MapIndex(path);
        ChangeTime(1);
        const rlimit nothing{0, 0};
        ::setrlimit(RLIMIT_AS, &nothing);
        const void* volatile taken = nullptr;  // Volatile, so that the compiler does not remove the calls.
        std::size_t total = 0;                 // Limited, because an emulator may ignore the memory limit.
        for (std::size_t size = 1 << 24; size > 0; size /= 2) {
            do {
                taken = std::malloc(size);
                total += size;
            } while (taken != nullptr && total < 1U << 30U);
        }
        SeedTable::Of(*index)->RequireUnchanged();
        ::_exit(7);
    };
    EXPECT_EXIT(use(), testing::ExitedWithCode(1), start + "out of memory; the process ends\n$");
}

}  // namespace
