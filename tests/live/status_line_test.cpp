#include "live/status_line.h"

#include <array>
#include <cstddef>
#include <string>
#include <utility>

#include <gtest/gtest.h>
#include <pty.h>
#include <unistd.h>

#include "common/file_descriptor.h"

namespace {

// Returns what a terminal with 10 columns receives.
std::string ShownOnATerminal(const std::string& text) {
    const winsize size{1, 10, 0, 0};
    int terminal = -1, program = -1;
    if (::openpty(&terminal, &program, nullptr, nullptr, &size) != 0) {
        return "no terminal";
    }
    const Common::FileDescriptor reading(terminal), usual(::dup(STDOUT_FILENO));
    ::dup2(program, STDOUT_FILENO);
    ::close(program);
    Live::StatusLine(false).Show(text, false);
    ::dup2(usual.Get(), STDOUT_FILENO);
    std::string shown;
    std::array<char, 100> part{};
    for (auto length = ::read(reading.Get(), part.data(), part.size()); length > 0;
         length = ::read(reading.Get(), part.data(), part.size())) {
        shown.append(part.data(), static_cast<std::size_t>(length));
    }
    return shown;
}

TEST(StatusLine, ShowsNoControlCharacterAndNoPartOfALetter) {
    const std::string umlaut = "\u00e4";
    const std::pair<std::string, std::string> cases[] = {
        {"a\033[2Jb\nc", "a?[2Jb?c"},
        {"123456789_", "123456789"},
        {"1234567" + umlaut + "_", "1234567" + umlaut},
        {"12345678" + umlaut, "12345678"},
        {std::string(20, '\x80'), std::string(6, '\x80')},
    };
    for (const auto& [text, shown] : cases) {
        EXPECT_EQ(ShownOnATerminal(text), "\r\033[K" + shown + "\r\n") << text;
    }
}

}  // namespace
