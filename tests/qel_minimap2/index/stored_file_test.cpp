#include "qel_minimap2/index/stored_file.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>

#include <gtest/gtest.h>

#include "qel_minimap2/index/from_mmi/index_file.h"
#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"

namespace {

using namespace qel_minimap2;

// A file that another program truncates just before call number `at` (0-based) of Read.
class CutFile : public StoredFile {
public:
    CutFile(const std::string& path, int at, bool to_nothing)
        : StoredFile(path), path(path), at(at), none(to_nothing) {}
    void Read(std::uint64_t offset, std::size_t count, void* target) const override {
        if (reads++ == at) {
            std::filesystem::resize_file(path, none ? 0 : offset + count - 1);
        }
        StoredFile::Read(offset, count, target);
    }

    mutable std::atomic<int> reads = 0;

private:
    const std::string path;
    const int at;
    const bool none;
};

TEST(StoredFile, AnIndexThatIsTruncatedWhileBeingLoadedIsRefused) {
    const Tests::TemporaryFolder folder;
    const auto built = folder.Path("built.mmi");
    unsigned state = 7;
    const auto fasta = folder.Write("reference.fa", ">a\n" + Tests::RandomBases(state, 60000) + "\n>b\nACGT\n");
    const auto command = "minimap2 -k 4 -w 2 -d " + Tests::Quoted(built) + " " + Tests::Quoted(fasta) + " 2>/dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0);
    const auto content = Tests::ReadAll(built);
    const CutFile whole(built, -1, false);
    ASSERT_NE(LoadIndexFile(whole), nullptr);
    ASSERT_GT(whole.reads, 20);
    for (int read = 0; read < whole.reads; ++read) {
        for (const bool to_nothing : {true, false}) {
            const CutFile file(folder.Write("cut.mmi", content), read, to_nothing);
            EXPECT_EQ(Tests::ErrorOf([&] { LoadIndexFile(file); }), "the file became shorter while it was being read");
        }
    }
}

TEST(FileWindow, ReturnsTheBytesOfAnyRange) {
    const Tests::TemporaryFolder folder;
    unsigned state = 4;
    const auto content = Tests::RandomBases(state, 3000);
    const StoredFile file(folder.Write("content", content));
    for (const std::size_t chunk : {1U, 64U, 5000U}) {
        FileWindow window(file, chunk);
        for (std::size_t offset = 0; offset < content.size(); offset += 1 + offset * 7 % 3) {
            const auto count = std::min(1 + offset * 31 % 5, content.size() - offset);
            const auto* const bytes = window.At(offset, count, content.size());
            EXPECT_TRUE(std::equal(bytes, bytes + count, content.begin() + static_cast<std::ptrdiff_t>(offset)))
                << offset << " " << count << " " << chunk;
        }
    }
}

}  // namespace
