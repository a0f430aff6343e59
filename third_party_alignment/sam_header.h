#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace ThirdPartyAlignment {

/// The header lines at the start of a SAM text: their size and the reference lengths in their "@SQ" lines.
///
/// A back-end writes the same header before each record, and with many reference sequences the header is a thousand
/// times larger than the record. So the whole process keeps the last large header, and a text that begins with the same
/// bytes is only compared, not parsed. Any thread.
class SamHeader {
public:
    /// Reads the header of `text`: while a line begins with "@", takes three words and skips the rest of the line. Any
    /// white space, including a line feed, separates words, so a shorter line takes words from the next one. If the
    /// first word is "@SQ", the second is the SN field and the third the LN field, by position, each without its first
    /// three characters. Throws std::out_of_range for a field of fewer than three characters, and what std::stoi throws
    /// for a length. The result may refer to `text`, which must outlive it.
    static std::shared_ptr<const SamHeader> Of(std::string_view text);

    /// Reads `text`, header lines that each end in a line feed, for the records that follow it. Throws std::bad_alloc.
    explicit SamHeader(std::string text);
    SamHeader(const SamHeader&) = delete;
    SamHeader& operator=(const SamHeader&) = delete;

    /// True if reading this header followed by any record that does not begin with "@" gives this header. Otherwise,
    /// for example if it cannot be read, it must be read together with each record.
    bool StandsAlone() const { return stands_alone; }
    /// The text given to the constructor.
    const std::string& Text() const { return kept; }

    /// Where the first line of `text` that does not begin with "@" starts: an offset in bytes.
    static std::size_t EndOfHeaderLines(std::string_view text);

    /// Size of the header in bytes.
    std::size_t Size() const { return size; }
    /// In bases, from the last "@SQ" line with this name; 0 for an unknown name.
    std::int32_t ReferenceLength(std::string_view name) const;

private:
    struct Reference {
        std::string_view name;
        std::int32_t length;
    };

    SamHeader() = default;

    void Read(std::string_view text);
    void KeepLastOfEachName();
    bool IsHeaderOf(std::string_view text) const;
    static std::shared_ptr<const SamHeader> KeptHeaderOf(std::string_view text);

    std::vector<Reference> references;
    std::size_t size = 0;
    bool whole = false;         // The text did not end inside the header, so more text would not change it.
    bool sorted = false;        // References are sorted by unique name; true in a kept header.
    bool by_line = false;       // Each line of a kept header begins with "@".
    bool stands_alone = false;  // True only in a kept header.
    std::string kept;           // The text of a kept header; its names point into it.
};

}  // namespace ThirdPartyAlignment
