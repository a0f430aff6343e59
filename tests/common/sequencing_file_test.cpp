#include "common/sequencing_file_adapter.h"

#include <sstream>
#include <tuple>

#include <gtest/gtest.h>

#include "tests/common/captured_log.h"
#include "tests/common/texts.h"

namespace {

using Common::SequencingFileAdapter;
using Tests::Lines;

// Returns each record as "title|sequence|qualities", and at the end the message of an exception, if one was thrown.
Lines Walk(std::istream&& stream) {
    Lines seen;
    const auto error = Tests::ErrorOf([&] {
        SequencingFileAdapter adapter(stream);
        for (auto record = adapter.begin(); !(record == SequencingFileAdapter::end()); ++record) {
            const auto& r = *record;
            seen.push_back(r.GetTitle() + "|" + r.GetSequence() + "|" + r.GetQString());
        }
    });
    if (error != "nothing thrown") {
        seen.push_back(error);
    }
    return seen;
}

TEST(SequencingFile, TextIsReadRecordByRecord) {
    const std::string no_header = "Invalid fasta description, it should start with '>'. acgt";
    const std::string no_base = "Sequence contained an unexpected character '-' at position 2\nHeader: >a\n";
    const std::pair<std::string, Lines> cases[] = {
        {"@r1\r\nACGT\r\n+\r\nIIII\r\n", {"@r1|ACGT|IIII"}},
        {"@r1\nAC\n+\nII\n@r2\nA\n+\nI", {"@r1|AC|II", "@r2|A|I"}},
        {"@r1\nAC\n+\nII\n@r2\nA\n", {"@r1|AC|II"}},
        {"r1\nAC\nx\nII\n", {"r1|AC|II"}},  // The plus line is not checked.
        {"@r1\nAC\n+\nII\n\n\n\n", {"@r1|AC|II", "||"}},
        {"@r1\nAC\n+\nII\n@r2\nA\n+\n \n", {"@r1|AC|II", "Unsupported character in the Qstring:  "}},
        {">c d\nACG\r\nUU\nA\n>e\nC", {">c d|ACGUUA|", ">e|C|"}},
        {">a\n>b\nT\n", {">a||", ">b|T|"}},
        {">a\nAC\nacgt\n", {">a|AC|", no_header}},
        {">a\nAC-G\n", {no_base + "Sequence: AC-G\nQstring: "}},
    };
    for (const auto& [text, records] : cases) {
        EXPECT_EQ(Walk(std::istringstream(text)), records) << text;
    }
}

TEST(SequencingFile, FastqIterationStartsOnceAndKeepsTheLastRecord) {
    std::istringstream text("@a\nAC\n+\nII\n@b\nG\n+\nJ\n@c\n");
    Common::FastQIterable reads(text);
    reads.begin();
    EXPECT_EQ(Tests::ErrorOf([&] { reads.begin(); }), "Cannot start FastQ iteration twice");
    EXPECT_EQ(reads.Current().ToString(), "@a\nAC\n+\nII\n");
    reads.Increment();
    EXPECT_FALSE(reads.Advance());
    reads.Increment();
    EXPECT_EQ(reads.Current().ToString(), "@b\nG\n+\nJ\n");
}

// Misuse of the iterators deliberately ends the process, and so does a file without any record.
TEST(SequencingFileDeathTest, MisuseEndsTheProcess) {
    std::istringstream text("@r\nA\n+\nI\n");
    SequencingFileAdapter adapter(text);
    auto it = adapter.begin();
    EXPECT_DEATH(adapter.begin(), "terminate");
    ++it;
    EXPECT_DEATH(++it, "terminate");
    EXPECT_DEATH(Walk(std::istringstream("")), "terminate");
    EXPECT_DEATH(Walk(std::istringstream("@r\nA\n")), "terminate");
}

// Yields its text, then fails.
class FailingDevice : public std::streambuf {
public:
    explicit FailingDevice(const std::string& text) : text(text) {}

private:
    int_type underflow() override {
        if (eback() != nullptr) {
            throw std::runtime_error("the device failed");
        }
        setg(text.data(), text.data(), text.data() + text.size());
        return traits_type::to_int_type(*gptr());
    }

    std::string text;
};

TEST(SequencingFile, AFailingDeviceEndsTheIterationWithAMessage) {
    const auto invalid_state = [](std::ios_base::iostate bits) {
        return "Error reading fasta input. Stream in invalid state: " + std::to_string(bits);
    };
    const auto failed = std::ios_base::badbit | std::ios_base::failbit;
    const auto warning = "Caught exception, so setting END flag. " + std::string("the device failed");
    const auto unnamed = "Caught exception, so setting END flag. Error while reading a line from the input stream.";
    const std::tuple<std::string, bool, Lines, Lines> cases[] = {
        {">a\nACG\n>b\nAC\nGT", false, {">a|ACG|", ">b|ACGT|", invalid_state(failed)}, {}},
        {">a\nACG\n>b\nAC\n", false, {">a|ACG|", ">b|AC|", invalid_state(failed)}, {}},
        {">a\nACG\n>b\nAC\nGT", true, {">a|ACG|", "the device failed"}, {}},
        {"@a\nAC\n+\nII\n@b\nAC\n+\nII", false, {"@a|AC|II"}, {unnamed}},
        {"@a\nAC\n+\nII\n@b\nAC\n+\nII", true, {"@a|AC|II"}, {warning}},
    };
    for (const auto& [text, throws, records, warnings] : cases) {
        const Tests::CapturedLog log;
        FailingDevice device(text);
        std::istream stream(&device);
        stream.exceptions(throws ? std::ios_base::badbit : std::ios_base::goodbit);
        EXPECT_EQ(Walk(std::move(stream)), records) << text;
        EXPECT_EQ(log.Of("warning"), warnings) << text;
    }
}

}  // namespace
