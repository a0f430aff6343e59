#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace ThirdPartyAlignment {

/// The header lines in front of a SAM text: their size and the reference lengths of their "@SQ" lines.
///
/// A back-end puts the same header in front of each record, and with many reference sequences it is a
/// thousand times the record's size. The last large header is therefore kept for the whole process, and a
/// text that begins with the same bytes is only compared with it. Any thread.
class SamHeader {
public:
    /// Reads the header of `text`: while a line begins with "@", three words are taken and the rest of the
    /// line is skipped. Words are separated by blanks of any kind, so a shorter line takes words from the
    /// line below. After the word "@SQ", the second word is the SN field and the third the LN field by
    /// position, each without its first three characters. Throws std::out_of_range for a field of less than
    /// three characters, and what std::stoi throws for a length. The result may refer to `text`, which must
    /// outlive it.
    static std::shared_ptr<const SamHeader> Of(std::string_view text);

    /// Where the first line of `text` that does not begin with "@" starts: an offset in bytes.
    static std::size_t EndOfHeaderLines(std::string_view text);

    /// Bytes of the text that the header takes.
    std::size_t Size() const { return size; }
    /// In bases, from the last "@SQ" line of that name; 0 for a name that none has.
    std::int32_t ReferenceLength(std::string_view name) const;

private:
    struct Reference {
        std::string_view name;
        std::int32_t length;
    };

    void Read(std::string_view text);
    void Keep(std::string_view header);
    bool IsHeaderOf(std::string_view text) const;
    static std::shared_ptr<const SamHeader> KeptHeaderOf(std::string_view text);

    std::vector<Reference> references;
    std::size_t size = 0;
    bool whole = false;    // The text did not end inside it, so that more text behind it would change nothing.
    bool sorted = false;   // By name, with one entry per name: set in a kept header.
    bool by_line = false;  // Each line of a kept header begins with "@".
    std::string kept;      // The text of a kept header, which its names refer to.
};

}  // namespace ThirdPartyAlignment
