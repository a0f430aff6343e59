#include "common/gzip_head_start.h"

#include <chrono>
#include <filesystem>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <boost/iostreams/device/back_inserter.hpp>
#include <boost/iostreams/filter/gzip.hpp>
#include <boost/iostreams/filtering_stream.hpp>

#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"

namespace {

using Common::GzipHeadStart;
using Common::GzipHeadStarts;

std::string Member(const std::string& text) {
    std::string data;
    boost::iostreams::filtering_ostream stream;
    stream.push(boost::iostreams::gzip_compressor());
    stream.push(boost::iostreams::back_inserter(data));
    stream << text;
    boost::iostreams::close(stream);
    return data;
}

std::string Text(std::size_t size) {
    unsigned random = 7;
    return Tests::RandomBases(random, size);
}

std::string Rest(GzipHeadStart& head_start) {
    std::string text;
    for (auto piece = head_start.Next(); !piece.empty(); piece = head_start.Next()) {
        text += piece;
    }
    return text;
}

// The text and the verdict are the same whether the head start reaches its limit or is taken over before that.
TEST(GzipHeadStart, IsContinuedWhereItEnds) {
    const Tests::TemporaryFolder folder;
    const auto text = Text(1'500'000);
    const auto sound = folder.Write("a.gz", Member(text.substr(0, 900'000)) + Member(text.substr(900'000)) + "xyz");
    const auto cut = folder.Write("b.gz", Member(text).substr(0, 300'000));
    std::string before_the_cut;
    for (const std::size_t most : {std::size_t{1}, std::size_t{300'000}, text.size(), 2 * text.size()}) {
        for (const int wait : {0, 1, 3, 30}) {
            const auto after_a_while = [&](GzipHeadStart& head_start) {
                std::this_thread::sleep_for(std::chrono::milliseconds(wait));
                EXPECT_TRUE(head_start.TakeOver());
                return Rest(head_start);
            };
            GzipHeadStart whole(sound, most);
            EXPECT_TRUE(after_a_while(whole) == text) << most << " " << wait;
            EXPECT_EQ(whole.Decoder().IgnoredBytes(), 3);
            GzipHeadStart part(cut, most);
            const auto read = after_a_while(part);
            before_the_cut = before_the_cut.empty() ? read : before_the_cut;
            EXPECT_TRUE(!read.empty() && read == before_the_cut && text.starts_with(read)) << most << " " << wait;
            EXPECT_EQ(part.Decoder().Failure(), "the file ends too early");
        }
    }
}

TEST(GzipHeadStart, InflatesUpToItsLimit) {
    const Tests::TemporaryFolder folder;
    const auto path = folder.Write("a.gz", Member(Text(3'000'000)));
    std::size_t first = 0;
    for (int wait = 10; wait < 10'000 && first != 1'000'000; wait *= 2) {
        GzipHeadStart head_start(path, 1'000'000);
        std::this_thread::sleep_for(std::chrono::milliseconds(wait));
        ASSERT_TRUE(head_start.TakeOver());
        first = head_start.Next().size();
        EXPECT_LE(first, 1'000'000U);
    }
    EXPECT_EQ(first, 1'000'000U);
}

TEST(GzipHeadStart, IsRefusedForAFileThatHasChanged) {
    const Tests::TemporaryFolder folder;
    const auto data = Member(Text(400'000));
    const std::function<void(const std::string&)> changes[] = {
        [](const std::string& path) { std::filesystem::remove(path); },
        [&](const std::string& path) { std::ofstream(path, std::ios_base::app) << data; },
        [](const std::string& path) { std::filesystem::last_write_time(path, {}); },
        [&](const std::string& path) {  // As rsync does with --inplace and --times.
            const auto written = std::filesystem::last_write_time(path);
            std::ofstream(path, std::ios_base::in | std::ios_base::out) << data;
            std::filesystem::last_write_time(path, written);
        },
        [&](const std::string& path) { std::filesystem::rename(folder.Write("other", data), path); },
    };
    for (const auto& change : changes) {
        const auto path = folder.Write("a.gz", data);
        GzipHeadStart head_start(path, 100);
        change(path);
        EXPECT_FALSE(head_start.TakeOver());
    }
    EXPECT_FALSE(GzipHeadStart(folder.Path("none.gz"), 100).TakeOver());
    EXPECT_FALSE(GzipHeadStart(folder.Path("."), 100).TakeOver());
}

// The zeros of this sparse file are padding. Reading all of them would take minutes.
TEST(GzipHeadStart, StopsAtOnceIfTheFileIsNotReadAfterAll) {
    const Tests::TemporaryFolder folder;
    const auto path = folder.Write("a.gz", Member(Text(400'000)));
    std::filesystem::resize_file(path, std::uintmax_t{1} << 40U);
    const auto begin = std::chrono::steady_clock::now();
    {
        const GzipHeadStart head_start(path, 1'000'000);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
}

// A head start that opened a pipe would take data from the later reader of the file.
TEST(GzipHeadStart, DoesNotOpenAPipe) {
    const Tests::TemporaryFolder folder;
    ASSERT_EQ(::mkfifo(folder.Path("pipe.gz").c_str(), 0600), 0);
    GzipHeadStart head_start(folder.Path("pipe.gz"), 100);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const int writer = ::open(folder.Path("pipe.gz").c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    EXPECT_EQ(writer, -1) << "the pipe has a reader";
    EXPECT_FALSE(head_start.TakeOver());
}

TEST(GzipHeadStarts, AreGivenToTheNextGzipFiles) {
    const Tests::TemporaryFolder folder;
    const auto data = Member(Text(400'000));
    std::vector<std::string> files;
    for (const auto* const name : {"a.gz", "b.fastq", "c.gz", "d.gz", "e.gz", "f.gz"}) {
        files.push_back(folder.Write(name, data));
    }
    files.push_back(files[4]);
    GzipHeadStarts starts(2, 100);
    const auto given = [&](std::size_t index) {
        const auto head_start = starts.Take(files[index]);
        return head_start != nullptr && head_start->Path() == files[index];
    };
    starts.Prepare(files, 0);
    EXPECT_FALSE(given(0)) << "a file that is about to be read gets no head start";
    EXPECT_FALSE(given(2)) << "file 0 is the current file";
    starts.Prepare(files, 2);
    EXPECT_TRUE(given(2));
    EXPECT_FALSE(given(2));
    starts.Prepare(files, 3);  // Nobody takes this file's head start, as when the file fails before it is opened.
    starts.Prepare(files, 4);
    EXPECT_TRUE(given(4));
    starts.Prepare(files, 6);
    EXPECT_TRUE(given(6)) << "a file may be in the list twice";
    GzipHeadStarts one(1, 100);
    one.Prepare(files, 3);
    one.Prepare(files, 5);
    EXPECT_EQ(one.Take(files[5]), nullptr) << "at file 3, only file 4 is prepared";
}

}  // namespace
