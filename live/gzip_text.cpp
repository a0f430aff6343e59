#include "live/gzip_text.h"

#include <exception>
#include <string_view>
#include <vector>

#include <boost/iostreams/filtering_stream.hpp>

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "checks/library_warnings.h"
#include "common/sequencing_file.h"
#include "live/disk_files.h"

namespace Live {

std::shared_ptr<const GzipText> GzipText::Of(const std::string& path, std::uint64_t most) {
    const int descriptor = ::memfd_create("reads", MFD_CLOEXEC);
    if (descriptor < 0) {
        return nullptr;
    }
    const std::shared_ptr<GzipText> text(new GzipText(descriptor));
    return text->Fill(path, most) && text->HasPath() ? text : nullptr;
}

std::string GzipText::Path() const {
    return "/proc/" + std::to_string(::getpid()) + "/fd/" + std::to_string(file.Get());
}

// Without /proc, the text has no path. In the /proc of another PID namespace, its path may lead to another file.
bool GzipText::HasPath() const {
    struct stat own {
    }, found{};
    return ::fstat(file.Get(), &own) == 0 && ::stat(Path().c_str(), &found) == 0 && own.st_dev == found.st_dev &&
           own.st_ino == found.st_ino;
}

bool GzipText::Fill(const std::string& path, std::uint64_t most) {
    Checks::LibraryWarnings warnings;
    try {
        boost::iostreams::filtering_istream stream;
        Common::OpenSequencingFile(path, stream);
        std::vector<char> block(std::size_t{1} << 18U);
        while (stream && size <= most) {
            stream.read(block.data(), static_cast<std::streamsize>(block.size()));
            const auto count = static_cast<std::size_t>(stream.gcount());
            WriteAt(file.Get(), {block.data(), count}, size, path);
            size += count;
        }
        Common::CheckEndOfSequencingFile(stream);
    } catch (const std::exception&) {  // The aligner then reads the gzip file itself and reports any damage.
        return false;
    }
    return size > 0 && size <= most && warnings.Take().empty();
}

}  // namespace Live
