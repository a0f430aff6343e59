#pragma once

#include <cstdint>
#include <string>

namespace Live {

/// How the content of a read file ends.
struct Content {
    bool whole = false;
    std::string reason;  ///< Why the content is incomplete, on one line without tabs; empty if it is complete.
};

/// Reads a file with the aligner's readers. The content is complete if it contains a read and ends with a complete
/// FASTQ record or, in a plain FASTA file, a complete line. A compressed file must end with a complete gzip member. A
/// bad record before the end does not matter, because waiting does not repair it.
Content ReadToEnd(const std::string& path);

/// True for a plain file without a line feed at its end, which may be incomplete. Reads only the last byte, so it
/// misses cut gzip files and files that were cut after a line.
bool LooksCut(const std::string& path);

/// True if, by the rules of tavik_check, `input` has exactly the reads of the SAM file `sam`. `reads`: their number in
/// the SAM file.
bool HoldsReadsOf(const std::string& sam, std::uint64_t reads, const std::string& input);

/// Copies the reads before the first fault of the file `path` to `target`, except for reads without a name. Returns the
/// number of copied reads. Throws std::runtime_error if `path` cannot be opened or `target` cannot be written.
std::uint64_t CopyWholeReads(const std::string& path, const std::string& target);

}  // namespace Live
