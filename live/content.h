#pragma once

#include <cstdint>
#include <string>

namespace Live {

/// How the content of a read file ends.
struct Content {
    bool whole = false;
    std::string reason;  ///< Why it is not whole, on one line without tabs; empty otherwise.
};

/// Reads a file with the aligner's readers. It is whole if it holds a read and ends with a whole FASTQ record, a whole
/// line of FASTA, and a whole gzip member. A file with a bad record before its end is whole: waiting does not repair
/// it.
Content ReadToEnd(const std::string& path);

/// True if a look at the end of a file shows that it may not be whole. Cheap, but it misses most files that are cut.
bool LooksCut(const std::string& path);

/// True if `input` holds the reads of the SAM file `sam` by the rules of tavik_check, and no others. `reads`: those in
/// the SAM file.
bool HoldsReadsOf(const std::string& sam, std::uint64_t reads, const std::string& input);

/// Writes the reads before the first fault of a file to `target`, without those that have no name. Returns their
/// number. Throws std::runtime_error if the file cannot be opened or the target cannot be written.
std::uint64_t CopyWholeReads(const std::string& path, const std::string& target);

}  // namespace Live
