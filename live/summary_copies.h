#pragma once

#include <cstdint>
#include <string>

namespace Live {

/// Adds rows to a file that others read at any time, so that each of them sees all new rows or none, at a cost that
/// does not grow with the rows before. There are two copies: the new rows, and those of the time before, go to the
/// hidden one, and then the two change places. A reader keeps the copy that it has opened.
class SummaryCopies {
public:
    /// `visible` need not exist yet. The copy `hidden` of an earlier process is not used, since a power failure may
    /// have damaged it.
    SummaryCopies(std::string visible, std::string hidden);

    /// Makes the visible file consist of its first `before` bytes and the bytes of the file `rows` from `skipped` on.
    /// After a failure, the visible file is unchanged, and the call can be repeated. Throws std::system_error.
    void Append(std::uint64_t before, const std::string& rows, std::uint64_t skipped);

    /// Removes the hidden copy. The next round makes it anew.
    void DropHidden() const;

private:
    void Exchange() const;

    const std::string visible;
    const std::string hidden;
};

}  // namespace Live
