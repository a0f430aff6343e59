#pragma once

#include <memory>
#include <string>

#include <boost/iostreams/filtering_stream.hpp>

#include "common/gzip_head_start.h"

namespace Common {

/// The extension of a path as Boost.Filesystem defines it (from the last dot of the file name, dot included),
/// in lower case.
std::string LowerCaseExtension(const std::string& path);

/// True for the extensions of plain read files: ".fastq", ".fq", ".fasta" and ".fa", in any case.
bool HasReadFileExtension(const std::string& path);

/// True for the same extensions followed by ".gz", in any case.
bool HasCompressedReadFileExtension(const std::string& path);

/// Prepares `stream`, which must be empty, for reading one file: plain text for the read-file extensions,
/// gzip for every other name, regardless of the content. Never fails itself: if the file cannot be opened or is not a
/// gzip file, the first read throws an exception with the file and the reason.
void OpenSequencingFile(const std::string& path, boost::iostreams::filtering_istream& stream);

/// The same with the head start that a gzip file was given; it may be null.
void OpenSequencingFile(const std::string& path, boost::iostreams::filtering_istream& stream,
                        std::unique_ptr<GzipHeadStart> head_start);

/// Call it after the last record of a stream prepared by OpenSequencingFile. Throws std::runtime_error with the file
/// name when unreadable data follow the text.
void CheckEndOfSequencingFile(boost::iostreams::filtering_istream& stream);

}  // namespace Common
