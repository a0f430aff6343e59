#pragma once

#include <string>

namespace Live {

/// Shows a run on standard output: on a terminal, one line that is rewritten each time; otherwise, one line with date
/// and time for each round. Messages go to standard error.
class StatusLine {
public:
    explicit StatusLine(bool quiet);
    /// Ends the line on the terminal, so that it stays visible.
    ~StatusLine();
    StatusLine(const StatusLine&) = delete;
    StatusLine& operator=(const StatusLine&) = delete;

    /// Shows the state of the run, unless quiet; without a terminal, only if `is_round`.
    void Show(const std::string& text, bool is_round);

    /// Writes a line with date and time to standard error, even if quiet.
    void Tell(const std::string& text);

    /// Writes a line to standard output, unless quiet.
    void Print(const std::string& text);

private:
    void Clear() const;

    const bool quiet;
    const bool is_terminal;
    std::string shown;
};

}  // namespace Live
