#include "live/content.h"

#include <cerrno>

#include <gtest/gtest.h>
#include <boost/iostreams/copy.hpp>
#include <boost/iostreams/device/back_inserter.hpp>
#include <boost/iostreams/filter/gzip.hpp>
#include <boost/iostreams/filtering_stream.hpp>

#include <unistd.h>

#include "live/disk_files.h"
#include "tests/common/temporary_folder.h"

namespace {

int reads_left = -1;  // How many calls of read succeed before a call fails; negative: no call fails.

}  // namespace

// The linker replaces read with __wrap_read.
extern "C" {
ssize_t __real_read(int, void*, size_t);

ssize_t __wrap_read(int file, void* buffer, size_t size) {
    if (reads_left >= 0 && reads_left-- == 0) {
        errno = EIO;
        return -1;
    }
    return __real_read(file, buffer, size);
}
}

namespace {

const std::string kWhole = "@a x\nACGT\n+\nIIII\n@b\nGGCC\n+c\nIII#\n";

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

TEST(Content, FileIsCompleteOnlyAtTheEndOfARecordAndOfAGzipMember) {
    const Tests::TemporaryFolder folder;
    const auto whole = [&](const std::string& name, const std::string& text) {
        return Live::ReadToEnd(folder.Write(name, text)).whole;
    };
    // The first `size` bytes are complete only if they end with a whole record. Its last line feed may be missing.
    const auto first = kWhole.find("@b") - 1;
    for (std::size_t size = 0; size <= kWhole.size(); ++size) {
        const bool is_end = size == first || size == first + 1 || size + 1 >= kWhole.size();
        EXPECT_EQ(whole("a.fastq", kWhole.substr(0, size)), is_end) << size;
        EXPECT_EQ(whole("a.fq.gz", Gzip(kWhole.substr(0, size))), is_end) << size;
    }
    const auto members = Gzip(kWhole) + Gzip(kWhole);
    for (std::size_t size = 1; size <= members.size(); ++size) {
        EXPECT_EQ(whole("b.fastq.gz", members.substr(0, size)), size == members.size() || size * 2 == members.size())
            << size;
    }
    EXPECT_TRUE(whole("a.fa", ">a\nACGT\nAC\n"));
    EXPECT_FALSE(whole("b.fa", ">a\nACGT\nAC"));
    // The aligner accepts a FASTA file that is cut in its last line, so LooksCut must recognise it first.
    EXPECT_TRUE(Live::LooksCut(folder.Path("b.fa")));
    EXPECT_FALSE(Live::LooksCut(folder.Path("a.fa")));
    EXPECT_TRUE(whole("a.fa.gz", Gzip(">a\nACGT\nAC")));
    // Waiting would not repair these faults, so the files are aligned, and the check names the faults.
    EXPECT_TRUE(whole("bad.fq", "@a\nACXT\n+\nIIII\n" + kWhole));
    EXPECT_TRUE(whole("uneven.fq", kWhole + "@c\nACGT\n+\nIII\n"));
    EXPECT_FALSE(Live::ReadToEnd(folder.Path("missing.fq")).whole);
    // The reason becomes a column of a table, so it must not contain a tab.
    EXPECT_EQ(Live::ReadToEnd(folder.Write("tab.fq", kWhole + "@c\nAC\tGT\n+\nIIIII")).reason,
              "record 3: Sequence contained an unexpected character ' ' at position 2");
}

// A disk or network that fails may work again later, whereas a bad record stays bad.
TEST(Content, FileIsIncompleteIfReadingFails) {
    const Tests::TemporaryFolder folder;
    for (const auto& path : {folder.Write("a.fq", kWhole), folder.Write("a.fq.gz", Gzip(kWhole))}) {
        for (int reads = 0; reads < 2; ++reads) {
            reads_left = reads;
            const auto content = Live::ReadToEnd(path);
            EXPECT_EQ(reads_left, -1);
            reads_left = -1;
            EXPECT_FALSE(content.whole) << path << reads;
            EXPECT_EQ(content.reason, "cannot be read: Input/output error") << path << reads;
        }
    }
}

TEST(Content, CopyContainsTheReadsBeforeTheFirstFault) {
    const Tests::TemporaryFolder folder;
    const auto target = folder.Path("copy.fastq");
    const struct {
        std::string name, text, copy;
        std::uint64_t reads;
    } cases[] = {
        {"a.fq", kWhole + "@c\nAC", "@a x\nACGT\n+\nIIII\n@b\nGGCC\n+\nIII#\n", 2},
        {"b.fq", "@a\nAC\n+\nII\n@\nAC\n+\nII\n@b\nAC\n+\nI\n@c\nA\n+\nI\n", "@a\nAC\n+\nII\n", 1},
        {"c.fq.gz", Gzip("@a\nAC\n+\nII\n") + Gzip(kWhole).substr(0, 15), "@a\nAC\n+\nII\n", 1},
        {"d.fa", ">a\nAC\nGT\n>b\nAC", ">a\nACGT\n>b\nAC\n", 2},
    };
    for (const auto& one : cases) {
        EXPECT_EQ(Live::CopyWholeReads(folder.Write(one.name, one.text), target), one.reads) << one.name;
        EXPECT_EQ(Live::ReadFile(target), one.copy) << one.name;
    }
}

}  // namespace
