#include "common/read_id_whitelist.h"

#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

#include "tests/common/captured_log.h"
#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"

namespace {

using Ids = std::unordered_set<std::string>;

TEST(ReadIdWhitelist, LinesAreCleanedAndIdsWithBlanksLeftOut) {
    const Tests::TemporaryFolder folder;
    const Tests::CapturedLog log;
    const auto path = folder.Write("ids", "r1\nr2\r\n\n \t\f\r\n r1\t\n\fr3 \r\nr 4\nr\tx\nlast");
    EXPECT_EQ(Common::getReadIdWhitelist(path), (Ids{"r1", "r2", "r3", "r\tx", "last"}));
    EXPECT_EQ(log.Of("warning"), std::vector<std::string>{"read_id is invalid as it contains a space r 4"});
    EXPECT_EQ(Common::getReadIdWhitelist(folder.Write("none", "")), Ids{});
}

TEST(ReadIdWhitelist, AMissingFileIsNamed) {
    EXPECT_EQ(Tests::ErrorOf([] { Common::getReadIdWhitelist("/no/such/file"); }),
              "Could not load readIdWhitelist file: '/no/such/file'");
}

TEST(ReadIdWhitelist, AMillionIdsLoad) {
    const Tests::TemporaryFolder folder;
    std::string text;
    for (int i = 0; i < 1000000; ++i) {
        text += "0f3a9b2c-77de-a104-" + std::to_string(i) + "\n";
    }
    EXPECT_EQ(Common::getReadIdWhitelist(folder.Write("ids", text)).size(), 1000000U);
}

}  // namespace
