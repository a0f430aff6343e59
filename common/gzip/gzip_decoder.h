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

    /// Moves to `position`, in bytes from the start. Returns false if the source is not seekable, for example a pipe.
    virtual bool Seek(std::uint64_t position) = 0;
};

/// Decodes gzip data with one or more members. Returns every byte before a corruption, and verifies lengths,
/// checksums and header checksums. Ignores zero bytes between and after members. Not synchronised.
class GzipDecoder {
public:
    GzipDecoder();
    GzipDecoder(const GzipDecoder&) = delete;
    GzipDecoder& operator=(const GzipDecoder&) = delete;
    ~GzipDecoder();

    /// Returns the next part of the text, which is empty at the end and valid until the next call. All calls must pass
    /// the same source, which must be at its start on the first call.
    std::string_view Next(GzipSource& source);

    /// The reason why the data are invalid; empty if they are sound. Known once Next has returned an empty text.
    const std::string& Failure() const { return failure; }

    /// True if all members decoded so far are sound and Failure concerns the bytes after them.
    bool FailsAfterLastMember() const { return fails_after_last_member; }

    /// The number of non-zero bytes ignored after the last member. More than 512 of them are a failure instead.
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
