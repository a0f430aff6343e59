#include "live/content.h"

#include <cerrno>
#include <fstream>
#include <ios>
#include <system_error>

#include "checks/file_comparison.h"
#include "checks/input_reads.h"
#include "checks/library_warnings.h"
#include "checks/texts.h"
#include "common/sequencing_file.h"

namespace Live {

namespace {

bool EndsWithLineFeed(const std::string& path) {
    std::ifstream stream(path, std::ios_base::binary);
    return stream.seekg(-1, std::ios_base::end) && stream.get() == '\n';
}

}  // namespace

Content ReadToEnd(const std::string& path) {
    const Checks::LibraryWarnings not_printed;
    try {
        Checks::InputReads reads(path);
        try {
            while (reads.Next()) {
            }
        } catch (const Checks::InputError& error) {
            return error.in_record && !reads.EndsWithRefusedRecord() ? Content{true, ""}
                                                                     : Content{false, Checks::OneLine(error.what())};
        }
        if (reads.EndsInsideRecord()) {
            return {false, "the last record is cut short"};
        }
        if (reads.Count() == 0) {
            return {false, "it contains no reads"};
        }
        // Only a line feed shows that the last sequence is complete.
        if (reads.IsFasta() && Common::HasReadFileExtension(path) && !EndsWithLineFeed(path)) {
            return {false, "the last line has no line feed"};
        }
        return {true, ""};
    } catch (const Checks::InputError& error) {
        return {false, Checks::OneLine(error.what())};
    }
}

bool LooksCut(const std::string& path) {
    return Common::HasReadFileExtension(path) && !EndsWithLineFeed(path);
}

bool HoldsReadsOf(const std::string& sam, std::uint64_t reads, const std::string& input) {
    Checks::FileComparison comparison("", false);  // There is no summary to compare with.
    Checks::LoggedFile logged;
    logged.file = input;
    logged.reads = static_cast<std::int64_t>(reads);
    comparison.Compare(logged, {input, sam, true});
    return comparison.Findings().empty();
}

std::uint64_t CopyWholeReads(const std::string& path, const std::string& target) {
    const Checks::LibraryWarnings not_printed;
    Checks::InputReads reads(path);
    errno = 0;
    std::ofstream copy(target, std::ios_base::binary | std::ios_base::trunc);
    std::uint64_t count = 0;
    try {
        while (copy && reads.Next()) {
            if (!reads.HasName()) {
                continue;
            }
            ++count;
            copy << reads.Title() << '\n' << reads.Sequence() << '\n';
            if (!reads.IsFasta()) {
                copy << "+\n" << reads.Qualities() << '\n';
            }
        }
    } catch (const Checks::InputError&) {  // The copy ends before the fault.
    }
    copy.close();
    if (!copy) {
        throw std::system_error(errno, std::generic_category(), target);
    }
    return count;
}

}  // namespace Live
