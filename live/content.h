#pragma once

#include <cstdint>
#include <string>

namespace Live {

/// Whether the content of a read file is complete.
struct Content {
    bool whole = false;
    std::string reason;  ///< Why the content is incomplete, on one line without tabs; empty if it is complete.
};

/// Reads a file with the aligner's readers, up to the first bad record. That record may be cut short if it is the last
/// record of a FASTA file, or the last of a FASTQ file that does not end with a line feed. The file then counts as
/// incomplete. A file with any other bad record counts as complete, because waiting does not repair the record. A file
/// without a bad record is complete if:
/// - the system can read it;
/// - it contains a read;
/// - it ends with a complete record, if it is a FASTQ file;
/// - it ends with a line feed, if it is a plain FASTA file;
/// - it ends with a complete gzip member, if it is compressed.
Content ReadToEnd(const std::string& path);

/// True for a plain file that does not end with a line feed or cannot be read. Reads only the last byte, so files that
/// were cut after a line are missed. False for every compressed file.
bool LooksCut(const std::string& path);

/// True if, by the rules of tavik_check, `input` has exactly the reads of the SAM file `sam`. `reads`: their number in
/// the SAM file.
bool HoldsReadsOf(const std::string& sam, std::uint64_t reads, const std::string& input);

/// Copies the reads of the file `path`, up to the first fault, to the plain file `target`. Leaves out reads without a
/// name. Returns the number of copied reads. Throws std::runtime_error if the first byte of `path` cannot be read, or
/// if `target` cannot be written.
std::uint64_t CopyWholeReads(const std::string& path, const std::string& target);

}  // namespace Live
