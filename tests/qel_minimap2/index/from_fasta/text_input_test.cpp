#include "qel_minimap2/index/from_fasta/text_input.h"

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"

namespace {

using namespace qel_minimap2;

TEST(TextInput, AReferenceThatIsTruncatedWhileBeingReadIsRefused) {
    const Tests::TemporaryFolder folder;
    const auto path = folder.Write("reference.fa", ">a\n" + std::string(700000, 'A') + "\n");
    TextInput input(path);
    std::string text(400000, ' ');
    EXPECT_EQ(input.Read(text.data(), 400000), 400000);
    std::filesystem::resize_file(path, 600000);
    EXPECT_EQ(Tests::ErrorOf([&] { input.Read(text.data(), 400000); }),
              "the file became shorter while it was being read");
}

}  // namespace
