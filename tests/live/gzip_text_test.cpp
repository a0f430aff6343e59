#include "live/gzip_text.h"

#include <gtest/gtest.h>
#include <boost/iostreams/device/back_inserter.hpp>
#include <boost/iostreams/filter/gzip.hpp>
#include <boost/iostreams/filtering_stream.hpp>

#include "live/disk_files.h"
#include "tests/common/temporary_folder.h"

namespace {

std::string Gzip(const std::string& text) {
    namespace io = boost::iostreams;
    std::string data;
    io::filtering_ostream stream;
    stream.push(io::gzip_compressor());
    stream.push(io::back_inserter(data));
    stream << text;
    stream.reset();
    return data;
}

TEST(GzipText, ExistsOnlyForASoundFile) {
    const Tests::TemporaryFolder folder;
    std::string text;
    for (int i = 0; i < 100'000; ++i) {
        text += std::to_string(i * 7919) + '\n';
    }
    const auto half = text.size() / 2;
    const auto members = Gzip(text.substr(0, half)) + Gzip(text.substr(half));
    auto corrupt = members;
    corrupt[corrupt.size() - 6] ^= 1;  // In the last checksum.
    const struct {
        std::string name, data;
        std::uint64_t most;
        bool sound;
    } cases[] = {
        {"members.fastq.gz", members, text.size(), true},
        {"large.fastq.gz", members, text.size() - 1, false},
        {"cut.fastq.gz", members.substr(0, members.size() - 1), text.size(), false},
        {"corrupt.fastq.gz", corrupt, text.size(), false},
        // Refused, so that the aligner reads the file itself and warns about the trailing bytes.
        {"trailing.fastq.gz", members + "xyz", text.size(), false},
        {"empty.fastq.gz", Gzip(""), text.size(), false},
        {"plain.fastq.gz", text, text.size(), false},
    };
    for (const auto& [name, data, most, sound] : cases) {
        const auto found = Live::GzipText::Of(folder.Write(name, data), most);
        ASSERT_EQ(found != nullptr, sound) << name;
        if (sound) {
            EXPECT_EQ(Live::ReadFile(found->Path()), text);
            EXPECT_EQ(found->Size(), text.size());
        }
    }
    EXPECT_EQ(Live::GzipText::Of(folder.Path("missing.fastq.gz"), text.size()), nullptr);
}

}  // namespace
