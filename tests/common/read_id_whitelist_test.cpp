#include "common/read_id_whitelist.h"

#include <gtest/gtest.h>

#include "tests/common/captured_log.h"
#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"

namespace {

TEST(ReadIdWhitelist, LinesAreTrimmedAndIdsWithSpacesAreLeftOut) {
    using Ids = std::unordered_set<std::string>;
    const Tests::TemporaryFolder folder;
    const Tests::CapturedLog log;
    const auto path = folder.Write("ids", "r1\nr2\r\n\n \t\f\r\n r1\t\n\f\vr3 \v\r\nr 4\nr\tx\nlast");
    EXPECT_EQ(Common::getReadIdWhitelist(path), (Ids{"", "r1", "r2", "r3", "r\tx", "last"}));
    EXPECT_EQ(log.Of("warning"), Tests::Lines{"read_id is invalid as it contains a space r 4"});
    EXPECT_EQ(Common::getReadIdWhitelist(folder.Write("none", "")), Ids{});
    EXPECT_EQ(Tests::ErrorOf([] { Common::getReadIdWhitelist("/no/such/file"); }),
              "Could not load readIdWhitelist file: '/no/such/file'");
}

}  // namespace
