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

    /// Reads up to `size` bytes and returns their number, 0 at the end. What it throws passes through the decoder.
    virtual std::size_t Read(unsigned char* buffer, std::size_t size) = 0;

    /// Makes `position`, in bytes from the start, the next one to be read. False where there are no positions, as in a
    /// pipe.
    virtual bool Seek(std::uint64_t position) = 0;
};

/// The text of gzip data of any number of members, checked and exact: every byte before a damage is handed out, and
/// lengths, checksums and header checksums are compared. Zero bytes between and after members are padding. One thread.
class GzipDecoder {
public:
    GzipDecoder();
    GzipDecoder(const GzipDecoder&) = delete;
    GzipDecoder& operator=(const GzipDecoder&) = delete;
    ~GzipDecoder();

    /// The next piece of the text, which stays valid until the next call; empty at the end. `source` is at its start at
    /// the first call, and the same one at each.
    std::string_view Next(GzipSource& source);

    /// Why the text ends where it does: empty for sound data. Known once Next has returned an empty piece.
    const std::string& Failure() const { return failure; }

    /// True when the members read are sound and Failure is about what follows them.
    bool FailsAfterLastMember() const { return fails_after_last_member; }

    /// The number of bytes other than zero after the last member, counted up to a limit above which they are a failure.
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
