#include "checks/input_reads.h"

#include <cerrno>
#include <system_error>

#include <sys/stat.h>

#include "common/reads/line_reading.h"
#include "common/sequencing_file.h"

namespace Checks {

InputReads::InputReads(const std::string& path) : path(path) {
    struct stat status {};
    // Opening a pipe blocks until another program opens it for writing.
    if (::stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
        throw InputError("not a regular file", path);
    }
    Guard([&] {
        Common::OpenSequencingFile(path, stream);
        const auto first = stream.peek();
        if (first == std::char_traits<char>::eof()) {
            throw InputError("the file is empty", "The file is empty");
        }
        if (first == '>') {
            fasta = std::make_unique<Common::FastaIterable>(stream);
        }
    });
}

// Turns the readers' exceptions into InputError.
void InputReads::Guard(const std::function<void()>& read) const {
    try {
        read();
    } catch (const InputError&) {
        throw;
    } catch (const std::system_error& error) {
        throw InputError("cannot be read: " + error.code().message(), error.what());
    } catch (const std::exception& error) {
        std::string text = error.what();
        const auto gzip = "gzip error in " + path + ": ";
        const bool damaged = text.starts_with(gzip);
        if (damaged) {
            text.pop_back();  // Findings do not end with a full stop.
        }
        const auto reason = damaged ? "damaged, or not gzip: " + text.substr(gzip.size())
                                    : "record " + std::to_string(count + 1) + ": " + text.substr(0, text.find('\n'));
        throw InputError(reason, text, !damaged);
    }
}

bool InputReads::Next() {
    bool found = false;
    Guard([&] {
        found = fasta ? NextFasta() : NextFastq();
        if (!found) {
            Common::CheckEndOfSequencingFile(stream);
        }
    });
    count += found ? 1 : 0;
    return found;
}

bool InputReads::NextFasta() {
    if (!fasta->Advance()) {
        return false;
    }
    title = fasta->Current().GetTitle();
    return true;
}

bool InputReads::NextFastq() {
    while (true) {
        bool blank = true;
        bool any = false;
        for (auto* const line : {&title, &sequence, &plus, &qualities}) {
            if (!Common::ReadLine(stream, *line)) {
                cut = any && !blank;
                return false;
            }
            any = true;
            blank = blank && line->empty();
        }
        const bool no_read = title.empty() && sequence.empty() && qualities.empty() && (plus.empty() || plus == "+");
        if (!no_read) {
            record.Assign(title, sequence, qualities);
            return true;
        }
    }
}

std::string_view InputReads::Name() const {
    // An identifier ends at a space, but the aligner's summary cuts it at any white space.
    const auto end = title.find_first_of(" \t\n\v\f\r", 1);
    return std::string_view(title).substr(1, end == std::string::npos ? end : end - 1);
}

}  // namespace Checks
