#pragma once

#include <cstdint>
#include <string>

namespace Live {

/// Adds rows to a file that others read at any time, so that each of them sees all new rows or none, at a cost that
/// does not grow with the earlier rows. There are two copies: the new rows, and those of the previous round, go to the
/// hidden one, and then the two change places. A reader keeps the copy that it has opened.
class SummaryCopies {
public:
    /// `visible` need not exist yet. The copy `hidden` of an earlier process is not used, since a power failure may
    /// have damaged it.
    SummaryCopies(std::string visible, std::string hidden);

    /// Prepares the next visible file: the first `before` bytes of the visible one, and the bytes of the file `rows`
    /// from `skipped` on. Nothing changes for readers. After a failure, the call can be repeated. Throws
    /// std::system_error.
    void Prepare(std::uint64_t before, const std::string& rows, std::uint64_t skipped);

    /// Makes visible what was prepared. Throws std::system_error.
    void Show() const;

    /// False once a file system has not said whether somebody reads the hidden copy: a program that reads for longer
    /// than a round may then see rows of the next one.
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
