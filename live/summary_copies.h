#pragma once

#include <cstdint>
#include <string>

namespace Live {

/// Adds the rows of a round to a file that other programs may read at any time. Each reader sees all new rows or none.
/// There are two copies: the rows of this round and of the previous one are added to the hidden copy, and then the two
/// copies change places. A reader keeps the copy that it has opened. The cost does not grow with the number of earlier
/// rows, unless the hidden copy is missing or a reader has it open. In these cases, all rows are copied.
class SummaryCopies {
public:
    /// `visible` need not exist yet. Removes the copy `hidden` of an earlier process, because a power failure may have
    /// damaged it.
    SummaryCopies(std::string visible, std::string hidden);

    /// Prepares the next visible file: the first `before` bytes of the visible one, and the bytes of the file `rows`
    /// from `skipped` on. Nothing changes for readers. After a failure, the call can be repeated. Throws
    /// std::system_error.
    void Prepare(std::uint64_t before, const std::string& rows, std::uint64_t skipped);

    /// Makes the prepared file visible. Throws std::system_error.
    void Show() const;

    /// False once the file system has failed to show whether a program reads the hidden copy. A program that reads for
    /// longer than a round may then see rows of the next round.
    bool SeesReaders() const { return sees_readers; }

    /// Removes the hidden copy. The next round creates it again.
    void DropHidden() const;

private:
    bool IsOpenElsewhere(int descriptor);
    void Write(std::uint64_t before, const std::string& rows, std::uint64_t skipped) const;
    std::string Former() const { return hidden + ".former"; }

    const std::string visible;
    const std::string hidden;
    bool sees_readers = true;
};

}  // namespace Live
