#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>

namespace qel_minimap2 {

/// A file that appears under its name only when it is complete. Until then, it is
///
/// - usually a file without a name, of which nothing is left when the process ends; Publish gives it a hidden name
///   just before its own;
/// - a hidden file in the same folder if the file system has no unnamed files, /proc is missing, or Naming::hidden asks
///   for it. If the process is killed, the next NewFile in that folder removes the hidden file, unless the file system
///   has no locks.
///
/// A separate thread sends written data to the disk, because the system call for this blocks while the disk is busy.
class NewFile {
public:
    /// Whether the file has no name until it is published, or a hidden name from the beginning.
    enum class Naming { late, hidden };

    /// `path`: the name that Publish gives the file. If it is a symbolic link, the link stays, and its target is
    /// replaced. `size`: the least number of bytes that will be written. They are reserved on the disk if the file
    /// system supports this. Throws std::runtime_error with the reason.
    NewFile(const std::string& path, std::uint64_t size, Naming naming = Naming::late);
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;
    /// Removes the file unless Publish has named it.
    ~NewFile();

    /// Writes at any offset. Throws std::runtime_error with the system's reason. Any thread.
    void Write(std::uint64_t offset, const void* data, std::size_t size) const;
    /// Waits until all data are on the disk, then gives the file its name and so replaces any older file of that name.
    /// On failure, throws std::runtime_error with the system's reason and leaves the older file unchanged.
    void Publish();

    /// Removes the hidden files of all NewFiles in this process. Signal handlers that end the process may call it.
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
    std::string hidden;  // Empty unless the file has a hidden name.
    int descriptor = -1;
    mutable std::mutex mutex;
    mutable std::condition_variable_any changed;
    mutable std::uint64_t written = 0;  // In bytes. Guarded by the mutex.
    std::jthread sender;                // Has no thread if the system refused to start one.
};

}  // namespace qel_minimap2
