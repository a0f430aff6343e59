#include "common/sequencing_file.h"

#include <algorithm>
#include <array>
#include <ios>
#include <locale>
#include <string_view>
#include <utility>

#include <boost/filesystem/path.hpp>

#include "common/reads/gzip_file_decompressor.h"
#include "common/reads/input_file_source.h"

namespace Common {

namespace {

constexpr std::streamsize kBufferSize = 1 << 16;
constexpr std::array<std::string_view, 4> kReadFileExtensions = {".fastq", ".fq", ".fasta", ".fa"};

}  // namespace

std::string LowerCaseExtension(const std::string& path) {
    std::string extension = boost::filesystem::path(path).extension().string();
    const std::locale locale;
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [&locale](char c) { return std::tolower(c, locale); });
    return extension;
}

bool HasReadFileExtension(const std::string& path) {
    const auto extension = LowerCaseExtension(path);
    return std::find(kReadFileExtensions.begin(), kReadFileExtensions.end(), extension) != kReadFileExtensions.end();
}

bool HasCompressedReadFileExtension(const std::string& path) {
    return LowerCaseExtension(path) == ".gz" && HasReadFileExtension(boost::filesystem::path(path).stem().string());
}

void OpenSequencingFile(const std::string& path, boost::iostreams::filtering_istream& stream) {
    OpenSequencingFile(path, stream, nullptr);
}

void OpenSequencingFile(const std::string& path, boost::iostreams::filtering_istream& stream,
                        std::unique_ptr<GzipHeadStart> head_start) {
    if (!HasReadFileExtension(path)) {
        stream.push(GzipFileDecompressor(path, std::move(head_start)), kBufferSize);
    }
    stream.push(InputFileSource(path), kBufferSize);
    // By default, a stream swallows the exceptions of its device, so damaged data would look like the end of the file.
    stream.exceptions(std::ios_base::badbit);
}

void CheckEndOfSequencingFile(boost::iostreams::filtering_istream& stream) {
    if (stream.eof() && !stream.bad()) {
        stream.clear();
        stream.peek();  // Reading past the end makes the decompressor throw a pending error.
    }
}

}  // namespace Common
