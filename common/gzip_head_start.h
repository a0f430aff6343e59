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

/// Reads a gzip file. A thread inflates the first part in advance, while other files are read. Not synchronised.
class GzipHeadStart {
public:
    /// Starts the thread, which inflates up to about `most` bytes of text and keeps them in memory. Throws
    /// std::bad_alloc. After any other failure, TakeOver returns false.
    GzipHeadStart(const std::string& path, std::size_t most);
    GzipHeadStart(const GzipHeadStart&) = delete;
    GzipHeadStart& operator=(const GzipHeadStart&) = delete;
    /// Stops the thread.
    ~GzipHeadStart();

    const std::string& Path() const;

    /// Stops the thread. Returns false if the caller must read the file itself, because
    /// - the file is not a regular file of at least 64 KiB,
    /// - the file cannot be read or has changed since construction, or
    /// - the system could not start the thread or give it memory.
    bool TakeOver();

    /// Returns the next part of the text, which is empty at the end and valid until the next call. First returns what
    /// the thread has inflated, then inflates the rest. Throws what InputFileSource throws. Call only after TakeOver
    /// has returned true.
    std::string_view Next();

    /// The decoder. Once Next has returned an empty text, the decoder knows whether the file is sound.
    const GzipDecoder& Decoder() const;

private:
    struct State;
    std::unique_ptr<State> state;
    std::thread thread;
};

/// The head starts of the next gzip files in a list of files. Not synchronised.
class GzipHeadStarts {
public:
    /// `count`: how many files after the current one may have head starts; `most`: the bytes of text that each may
    /// keep in memory.
    GzipHeadStarts(std::size_t count, std::size_t most) : count(count), most(most) {}

    /// Call before reading the file at `index`. Creates head starts for those of the next `count` files that lack the
    /// extension of a plain read file. A file gets none if there is not enough memory.
    void Prepare(const std::vector<std::string>& files, std::size_t index);

    /// Takes over the head start of the file at the index of the latest Prepare, and returns it. Null if the file has
    /// none, if `path` is a different file, or if TakeOver returned false.
    std::unique_ptr<GzipHeadStart> Take(const std::string& path);

private:
    const std::size_t count;
    const std::size_t most;
    std::size_t considered = 0;  // Files before this index get no new head start.
    std::size_t current = 0;     // The index of the latest Prepare.
    std::deque<std::pair<std::size_t, std::unique_ptr<GzipHeadStart>>> waiting;  // Sorted by index.
};

}  // namespace Common
