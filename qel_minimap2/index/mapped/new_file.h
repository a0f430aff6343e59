#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>

namespace qel_minimap2 {

/// A file that appears under its name only when it is whole. Until then it has no name, so that whatever ends the
/// process leaves nothing behind; file systems that cannot do that get a hidden file in the same folder. One that a
/// killed process left there is removed by the next NewFile in that folder.
///
/// A separate thread sends written data to the disk, because the call that does so blocks while the disk is busy.
class NewFile {
public:
    /// When the file gets a name: at its end, or hidden from the beginning.
    enum class Naming { late, hidden };

    /// `path`: the name to be; where it is a symbolic link, that of the file it leads to. Reserves `size` bytes of
    /// disk, the least that will be written, where the file system can. `naming`: `late` where the file system can.
    /// Throws std::runtime_error with the system's reason.
    NewFile(const std::string& path, std::uint64_t size, Naming naming = Naming::late);
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;
    /// Removes the file unless Publish has named it.
    ~NewFile();

    /// Writes at any offset. Throws std::runtime_error with the system's reason. Any thread.
    void Write(std::uint64_t offset, const void* data, std::size_t size) const;
    /// Waits until all is on the disk, then puts the file in the place of an older one of its name. Throws
    /// std::runtime_error with the system's reason; the older file is then unchanged.
    void Publish();

    /// Removes the hidden files of all NewFiles. For signal handlers that end the process.
    static void RemoveUnfinished() noexcept;

private:
    [[noreturn]] void GiveUp();
    void SendToDisk(const std::stop_token& stop) const;
    void CreateHidden();
    std::string NextHiddenName() const;
    void TakeName(std::string name);
    void GiveNameBack() noexcept;
    void Forget() noexcept;

    std::string path, folder;
    std::string hidden;  // Empty while the file has no name.
    int descriptor = -1;
    mutable std::mutex mutex;
    mutable std::condition_variable_any changed;
    mutable std::uint64_t written = 0;  // Bytes. Guarded by the mutex.
    std::jthread sender;                // Not running if no thread can be started.
};

}  // namespace qel_minimap2
