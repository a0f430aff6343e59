#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "common/gzip/gzip_decoder.h"

namespace Common {

/// The text of a gzip file, the first part of which a thread inflates before the file's turn comes. One thread owns it.
class GzipHeadStart {
public:
    /// Starts the thread, which inflates up to `most` bytes of text and keeps them in memory. Throws std::bad_alloc;
    /// any other failure appears in TakeOver.
    GzipHeadStart(const std::string& path, std::size_t most);
    GzipHeadStart(const GzipHeadStart&) = delete;
    GzipHeadStart& operator=(const GzipHeadStart&) = delete;
    /// Stops the thread.
    ~GzipHeadStart();

    const std::string& Path() const;

    /// Stops the thread. False if the file must be read from its start instead: it is not a regular file of at least 64
    /// KiB, it cannot be read, it has changed since, or the system could not start the thread or give it memory.
    bool TakeOver();

    /// The next piece of the text, valid until the next call; empty at the end. Inflates what follows the thread's
    /// part. Throws what InputFileSource throws. Call it after TakeOver has returned true.
    std::string_view Next();

    /// Once Next has returned an empty piece: tells whether the file is sound.
    const GzipDecoder& Decoder() const;

private:
    struct State;
    std::unique_ptr<State> state;
    std::thread thread;
};

/// Gives head starts to the gzip files among those that are read next. One thread.
class GzipHeadStarts {
public:
    /// At most `count` files at a time, `most` bytes of text in each.
    GzipHeadStarts(std::size_t count, std::size_t most) : count(count), most(most) {}

    /// Call it before reading the file at `index`: starts those of the next `count` files that are not plain text. A
    /// file for which there is no memory gets no head start.
    void Prepare(const std::vector<std::string>& files, std::size_t index);

    /// The head start of the file at the index given last, taken over; null if there is none or it cannot be used.
    std::unique_ptr<GzipHeadStart> Take(const std::string& path);

private:
    const std::size_t count;
    const std::size_t most;
    std::size_t considered = 0;                                                  // Number of files considered so far.
    std::size_t current = 0;                                                     // The index given last.
    std::deque<std::pair<std::size_t, std::unique_ptr<GzipHeadStart>>> waiting;  // By index, ascending.
};

}  // namespace Common
