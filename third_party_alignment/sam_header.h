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
/// A back-end writes the same header before each record. With many reference sequences, the header can be a thousand
/// times larger than the record. The process therefore keeps the most recently parsed large header, and does not parse
/// an identical header again. Any thread.
class SamHeader {
public:
    /// Reads the header of `text`. While a line begins with "@", reads three words and skips the rest of the line:
    /// - Any white space separates words, including a line feed. For a line of fewer than three words, words of the
    ///   next line are read.
    /// - If the first word is "@SQ", the second is the SN field and the third the LN field. The first three characters
    ///   of both fields are ignored, so the tags may differ.
    /// Throws std::out_of_range for a field of fewer than three characters, and what std::stoi throws for the length.
    /// `text` must outlive the result, which may refer to it.
    static std::shared_ptr<const SamHeader> Of(std::string_view text);

    /// Reads a header. Each line of `text` should end in a line feed; StandsAlone shows whether `text` can be used as a
    /// header for any record. Throws std::bad_alloc.
    explicit SamHeader(std::string text);
    SamHeader(const SamHeader&) = delete;
    SamHeader& operator=(const SamHeader&) = delete;

    /// True if reading this header alone gives the same result as reading it together with any record that does not
    /// begin with "@". If false, the header must be read together with each record.
    bool StandsAlone() const { return stands_alone; }
    /// The text given to the constructor.
    const std::string& Text() const { return kept; }

    /// Returns the offset in bytes of the first line of `text` that does not begin with "@", or the size of `text` if
    /// each line does.
    static std::size_t EndOfHeaderLines(std::string_view text);

    /// Size of the header in bytes.
    std::size_t Size() const { return size; }
    /// Returns the length in bases in the last "@SQ" line with this name, or 0 for an unknown name.
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
    bool whole = false;  // Reading did not fail at the end of the text.
    // Only the public constructor sets the members below.
    bool sorted = false;   // `references` are sorted by name, and each name is unique.
    bool by_line = false;  // Each line of `kept` begins with "@".
    bool stands_alone = false;
    std::string kept;  // The header's text; the names in `references` point into it.
};

}  // namespace ThirdPartyAlignment
