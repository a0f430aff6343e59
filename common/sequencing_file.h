#pragma once

#include <memory>
#include <string>

#include <boost/iostreams/filtering_stream.hpp>

#include "common/gzip_head_start.h"

namespace Common {

/// The part of a file name from its last dot on, in lower case; empty if the name has no dot. Follows
/// Boost.Filesystem's definition of an extension.
std::string LowerCaseExtension(const std::string& path);

/// True for the extensions of plain read files: ".fastq", ".fq", ".fasta" and ".fa", in upper or lower case.
bool HasReadFileExtension(const std::string& path);

/// True for the extensions of plain read files followed by ".gz", in upper or lower case.
bool HasCompressedReadFileExtension(const std::string& path);

/// Prepares `stream`, which must be empty, for reading one file. The file is read as plain text if its name has the
/// extension of a plain read file, otherwise as gzip, regardless of the content. This function does not open the file.
/// If the file cannot be opened, or is read as gzip but has another format, the first read throws an exception that
/// names the file and the reason.
void OpenSequencingFile(const std::string& path, boost::iostreams::filtering_istream& stream);

/// Like the function above. `head_start`: null, or a head start of this file whose TakeOver has returned true.
void OpenSequencingFile(const std::string& path, boost::iostreams::filtering_istream& stream,
                        std::unique_ptr<GzipHeadStart> head_start);

/// Call after the last record of a stream prepared by OpenSequencingFile. Throws std::runtime_error with the file name
/// if the gzip data are followed by more than 512 non-zero bytes, or by non-zero bytes and then another gzip header.
/// Does nothing for plain text.
void CheckEndOfSequencingFile(boost::iostreams::filtering_istream& stream);

}  // namespace Common
