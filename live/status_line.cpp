#include "live/status_line.h"

#include <ctime>
#include <iomanip>
#include <iostream>
#include <sstream>

#include <sys/ioctl.h>
#include <unistd.h>

#include "checks/texts.h"

namespace Live {

namespace {

constexpr char kEraseLine[] = "\r\033[K";

std::string Now() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    std::ostringstream text;
    text << std::put_time(&local, "%F %T ");
    return text.str();
}

std::size_t Columns() {
    constexpr std::size_t kUsual = 80;
    winsize size{};
    return ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : kUsual;
}

}  // namespace

StatusLine::StatusLine(bool quiet) : quiet(quiet), is_terminal(::isatty(STDOUT_FILENO) == 1) {}

StatusLine::~StatusLine() {
    if (!shown.empty()) {
        std::cout << std::endl;
    }
}

void StatusLine::Show(const std::string& text, bool is_round) {
    if (quiet) {
        return;
    }
    if (!is_terminal) {
        if (is_round) {
            std::cout << Now() << text << std::endl;
        }
        return;
    }
    auto line = text.substr(0, Columns() - 1);
    if (line != shown) {
        shown = std::move(line);
        std::cout << kEraseLine << shown << std::flush;
    }
}

void StatusLine::Clear() const {
    if (!shown.empty()) {
        std::cout << kEraseLine << std::flush;
    }
}

void StatusLine::Tell(const std::string& text) {
    Clear();
    std::cerr << Now() << Checks::Printable(text) << std::endl;
    if (!shown.empty()) {
        std::cout << shown << std::flush;
    }
}

void StatusLine::Print(const std::string& text) {
    if (quiet) {
        return;
    }
    Clear();
    shown.clear();
    std::cout << text << std::endl;
}

}  // namespace Live
