#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace Common {

/// The compressed bytes that a GzipDecoder reads.
class GzipSource {
public:
    virtual ~GzipSource() = default;

    /// Reads up to `size` bytes and returns their number, 0 at the end. Exceptions pass through the decoder.
    virtual std::size_t Read(unsigned char* buffer, std::size_t size) = 0;

    /// Moves to `position`, in bytes from the start. False if the source is not seekable, for example a pipe.
    virtual bool Seek(std::uint64_t position) = 0;
};

/// Decodes gzip data with any number of members. Returns every byte before any corruption, and verifies lengths,
/// checksums and header checksums. Zero bytes between and after members are padding. One thread.
class GzipDecoder {
public:
    GzipDecoder();
    GzipDecoder(const GzipDecoder&) = delete;
    GzipDecoder& operator=(const GzipDecoder&) = delete;
    ~GzipDecoder();

    /// The next piece of the text, valid until the next call; empty at the end. `source` must be at its start on the
    /// first call and the same on every call.
    std::string_view Next(GzipSource& source);

    /// Why the data are invalid, or empty if they are sound. Known once Next has returned an empty piece.
    const std::string& Failure() const { return failure; }

    /// True when all members are sound and Failure concerns the bytes after them.
    bool FailsAfterLastMember() const { return fails_after_last_member; }

    /// The number of non-zero bytes ignored after the last member. Above a limit, such bytes are a failure instead.
    int IgnoredBytes() const { return ignored; }

private:
    struct State;

    void Decode(GzipSource& source);
    bool Have(GzipSource& source, unsigned bytes);
    unsigned char Take();
    void FindMember(GzipSource& source);
    void SkipTrailingBytes(GzipSource& source);
    void DecodeFast(GzipSource& source);
    void DecodeExact();
    void EndMember();
    void Fail(const std::string& reason);

    std::unique_ptr<State> state;
    std::string failure;
    bool fails_after_last_member = false;
    int ignored = 0;
};

}  // namespace Common
