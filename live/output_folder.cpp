#include "live/output_folder.h"

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <set>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "common/summary_columns.h"
#include "live/disk_files.h"

namespace Live {

namespace fs = std::filesystem;

namespace {

// The constructor waits for the lock, because an aligner that outlives its killed parent for a moment still has it.
constexpr int kLockAttempts = 20;
constexpr std::chrono::milliseconds kBetweenAttempts{100};

// From this many files on, syncing the whole disk, other programs' data included, is faster than syncing each file.
constexpr std::size_t kManyFiles = 50;

std::string HeaderLine() {
    std::string header;
    for (const auto column : Common::kSummaryColumns) {
        header.append(header.empty() ? "" : "\t").append(column);
    }
    return header + '\n';
}

std::string WithoutSlash(std::string path) {
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    return path;
}

}  // namespace

OutputFolder::OutputFolder(const std::string& given) : path(WithoutSlash(given)) {
    std::error_code error;
    fs::create_directories(HiddenPath(), error);
    if (error) {
        throw std::system_error(error, HiddenPath());
    }
    const auto lock_path = HiddenPath() + "/lock";
    // Without O_CLOEXEC, so that the aligner inherits the descriptor and keeps the lock if it outlives this program.
    const int descriptor = ::open(lock_path.c_str(), O_RDWR | O_CREAT, 0666);
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), lock_path);
    }
    lock.emplace(descriptor);
    for (int attempt = 1; ::flock(descriptor, LOCK_EX | LOCK_NB) != 0; ++attempt) {
        if (errno != EWOULDBLOCK && errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), lock_path);
        }
        if (attempt == kLockAttempts) {
            throw std::runtime_error(path + ": another tavik_live is running on this folder");
        }
        std::this_thread::sleep_for(kBetweenAttempts);
    }
}

// Writes the state of a new run. Check creates its tables afterwards, because a summary without a state counts as that
// of another run.
void OutputFolder::Begin(const RunState& now) {
    if (fs::exists(path + "/" + Common::kSummaryFileName)) {
        fs::remove_all(HiddenPath());
        throw std::runtime_error(path + ": contains the results of another run");
    }
    auto state = now;
    state.summary_bytes = HeaderLine().size();
    ReplaceFile(HiddenPath() + "/state", state.Text());
    Sync(HiddenPath());
}

RunState OutputFolder::Open(const RunState& now) {
    const auto state_path = HiddenPath() + "/state";
    if (!fs::exists(state_path)) {
        Begin(now);
    }
    try {
        published = RunState::Parse(ReadFile(state_path));
    } catch (const std::system_error&) {
        throw;
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(state_path + ": " + error.what());
    }
    const auto differences = now.DifferencesFrom(published);
    if (!differences.empty() && !published.HasReads() && !fs::exists(ReadyPath() + "/state")) {
        auto state = now;  // Nothing was made with the former options, so they are replaced.
        state.summary_bytes = published.summary_bytes;
        Save(state);
    } else if (!differences.empty()) {
        std::string text = path + ": its results were made with other options:";
        for (const auto& difference : differences) {
            text += "\n  " + difference;
        }
        throw std::runtime_error(text);
    }
    summary.emplace(path + "/" + Common::kSummaryFileName, HiddenPath() + "/" + Common::kSummaryFileName);
    fs::remove_all(RoundPath());
    fs::remove_all(HiddenPath() + "/whole");
    Publish();
    Check(published);
    return published;
}

// Creates the tables of a run without files, and removes what EndLog has added to the log. Throws if another program
// has changed the size of the summary or shortened the log. Call only when no publication is pending.
void OutputFolder::Check(const RunState& state) const {
    const auto summary_path = path + "/" + Common::kSummaryFileName;
    if (state.files.empty()) {
        if (!fs::exists(summary_path)) {
            ReplaceFile(summary_path, HeaderLine());
        }
        // A killed run may have created only the summary. An earlier run whose other files were removed may have left
        // its table.
        const auto table_path = path + "/files.tsv";
        if (!fs::exists(table_path) || ReadFile(table_path) != state.FilesTable()) {
            ReplaceFile(table_path, state.FilesTable());
        }
    }
    if (SizeOf(summary_path) != state.summary_bytes) {
        throw std::runtime_error(summary_path + ": changed by another program: it has " +
                                 std::to_string(SizeOf(summary_path)) + " bytes instead of " +
                                 std::to_string(state.summary_bytes));
    }
    if (state.log_name.empty()) {
        return;
    }
    const auto log = path + "/" + state.log_name;
    if (SizeOf(log) < state.log_bytes) {
        throw std::runtime_error(log + ": changed by another program: it is too short");
    }
    EndLog(state, "");
}

std::string OutputFolder::Obstacle(const std::string& sam) const {
    const auto target = fs::path(path) / sam;
    std::error_code error;
    if (fs::exists(fs::symlink_status(target, error))) {
        return target.string() + " exists already";
    }
    fs::create_directories(target.parent_path(), error);
    return error ? target.parent_path().string() + ": " + error.message() : "";
}

void OutputFolder::Prepare() {
    std::vector<std::string> paths;
    for (const auto& entry : fs::directory_iterator(RoundPath())) {
        if (entry.is_regular_file()) {
            paths.push_back(entry.path().string());
        }
    }
    if (paths.size() < kManyFiles || !SyncDisk(RoundPath())) {
        for (const auto& file : paths) {
            Sync(file);
        }
        Sync(RoundPath());
    }
    Rename(RoundPath(), ReadyPath());
}

void OutputFolder::Publish() {
    if (fs::exists(ReadyPath() + "/state")) {
        Sync(HiddenPath());
        const auto next = RunState::Parse(ReadFile(ReadyPath() + "/state"));
        Show(next);
        Rename(ReadyPath() + "/state", HiddenPath() + "/state");
        published = next;
        Sync(HiddenPath());
    }
    fs::remove_all(ReadyPath());
}

// A file of the round and its place in the results.
struct OutputFolder::Move {
    std::string from;
    fs::path to;
};

std::vector<OutputFolder::Move> OutputFolder::Moves() const {
    std::vector<Move> moves;
    std::istringstream lines(ReadFile(ReadyPath() + "/moves"));
    for (std::string line; std::getline(lines, line);) {
        const auto tab = line.find('\t');
        moves.push_back({ReadyPath() + "/" + line.substr(0, tab), fs::path(path) / line.substr(tab + 1)});
    }
    return moves;
}

// Slow steps come before the first SAM file becomes visible, or after the last row does.
void OutputFolder::Show(const RunState& next) {
    const auto summary_path = path + "/" + Common::kSummaryFileName;
    const auto table_path = ReadyPath() + "/files.tsv";
    const auto moves = Moves();
    std::set<fs::path> folders;
    for (const auto& move : moves) {
        if (folders.insert(move.to.parent_path()).second) {
            fs::create_directories(move.to.parent_path());
        }
    }
    const bool has_rows = SizeOf(summary_path) == next.summary_bytes;
    if (!has_rows) {
        summary->Prepare(published.summary_bytes, ReadyPath() + "/rows", HeaderLine().size());
    }
    WriteFile(table_path, next.FilesTable());
    for (const auto& move : moves) {
        if (fs::exists(move.from)) {  // Otherwise an interrupted call has moved the file.
            Rename(move.from, move.to.string());
        }
    }
    if (!has_rows) {
        summary->Show();
    }
    Rename(table_path, path + "/files.tsv");
    {
        const auto log = path + "/" + next.log_name;
        const Common::FileDescriptor file(OpenFile(log, O_WRONLY | O_CREAT));
        WriteAt(file.Get(), ReadFile(ReadyPath() + "/log"), published.log_bytes, log);
    }
    EndLog(next, "");
    for (const auto& folder : folders) {
        Sync(folder.string());
    }
    Sync(path);
}

void OutputFolder::Save(const RunState& state) {
    ReplaceFile(HiddenPath() + "/state", state.Text());
    Sync(HiddenPath());
    published = state;
}

void OutputFolder::EndLog(const RunState& state, const std::string& records) const {
    const auto log = path + "/" + state.log_name;
    const Common::FileDescriptor file(OpenFile(log, O_WRONLY));
    WriteAt(file.Get(), records, state.log_bytes, log);
    if (::ftruncate(file.Get(), static_cast<off_t>(state.log_bytes + records.size())) != 0 ||
        ::fdatasync(file.Get()) != 0) {
        throw std::system_error(errno, std::generic_category(), log);
    }
}

}  // namespace Live
