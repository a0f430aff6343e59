#include "common/worker_pool.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <exception>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

#include <sched.h>

namespace Common {

namespace {

struct Outcome {
    int result = 0;
    std::exception_ptr error;
};

using Clock = std::chrono::steady_clock;

thread_local int waits_without = 0;  // How many of this thread's next waits do not yield first.

// Yields to other threads until the condition is true, about `longest` has passed or a yield was slow. Yields at least
// once, unless the condition is already true or this wait is skipped (see below). The caller holds no lock, so the
// condition may read only atomic members and members that this thread alone writes.
//
// Waking a sleeping thread takes about as long as mapping a short read. A yield returns immediately if no other thread
// waits for the processor, but can take milliseconds if other programs keep the processors busy. So after a slow yield,
// this thread skips yielding in its next waits.
template <typename Condition>
void YieldUntil(const Condition& condition, std::chrono::microseconds longest) {
    constexpr std::chrono::milliseconds kLong{1};
    constexpr int kWaitsWithout = 256;
    if (condition() || std::exchange(waits_without, std::max(waits_without - 1, 0)) > 0) {
        return;
    }
    const auto start = Clock::now();
    for (auto now = start; waits_without == 0;) {
        const auto last = now;
        std::this_thread::yield();
        now = Clock::now();
        waits_without = now - last > kLong ? kWaitsWithout : 0;
        if (now - start >= longest || condition()) {
            break;
        }
    }
}

// How long a worker yields before it sleeps: usually long enough for the owner to read and submit the next record.
constexpr std::chrono::microseconds kWorkerYields{50};
// How long the owner yields if its previous wait was shorter than this and there are more processors than workers. With
// as many workers as processors, the owner would take a processor from a worker.
constexpr std::chrono::microseconds kOwnerYields{50};
constexpr std::chrono::microseconds kOneYield{0};

// The number of processors on which the process may run. sched_getaffinity fails on a machine with more processors than
// cpu_set_t has room for. hardware_concurrency does not fail, but may count too many.
std::size_t ProcessorCount() {
    static const std::size_t count = [] {
        cpu_set_t allowed;
        return ::sched_getaffinity(0, sizeof allowed, &allowed) == 0 ? static_cast<unsigned>(CPU_COUNT(&allowed))
                                                                     : std::thread::hardware_concurrency();
    }();
    return count;
}

}  // namespace

struct WorkerPool::Slot : Worker {
    explicit Slot(std::size_t index) : index(index) {}

    const std::size_t index;

    // The worker's thread uses these members while it runs the job; otherwise only the owner uses them.
    RecordJob job;
    FastQRecord record;

    // Guarded by the pool's mutex.
    std::atomic<std::uint64_t> begun = 0;  // Number of jobs begun so far, both submitted and staged.
    std::uint64_t ended = 0;               // Number of jobs ended so far.
    std::array<Outcome, 2> outcomes;       // Of the last two jobs, because both may end before a Refresh.
    std::condition_variable given;         // Signals a new job or the end of the pool.

    // Used by the owner alone.
    bool pending = false;    // True from a Submit until Refresh takes the result of its job.
    std::uint64_t seen = 0;  // Number of results taken so far.
    std::thread thread;

    bool HasEnded() const { return ended > seen; }
};

WorkerPool::WorkerPool(int thread_count) : idle(static_cast<std::size_t>(std::max(thread_count, 0))) {}

WorkerPool::~WorkerPool() {
    {
        const std::lock_guard lock(mutex);
        ending = true;
        staged = false;
    }
    for (const auto& slot : slots) {
        slot->given.notify_one();
        if (slot->thread.joinable()) {
            slot->thread.join();
        }
    }
}

const Worker& WorkerPool::At(std::size_t index) const {
    static const Worker unused;
    return index < slots.size() || index >= Size() ? *slots.at(index) : unused;
}

WorkerPool::Slot& WorkerPool::SlotOf(std::size_t index) {
    if (index == slots.size()) {
        slots.push_back(std::make_unique<Slot>(index));
        idle.first_unused = slots.size();
        idle.listed.push_back(index);
    }
    return *slots.at(index);
}

int WorkerPool::Submit(const RecordJob& job, std::uint64_t /*job_number*/, const FastQRecord& record) {
    std::optional<std::size_t> begun_by;
    {
        const std::lock_guard lock(mutex);
        if (idle.empty() || (taker && slots[*taker]->status != Worker::Status::idle)) {
            return -1;
        }
        staged = false;
        begun_by = std::exchange(taker, std::nullopt);
    }
    auto& slot = SlotOf(begun_by.value_or(idle.front()));
    slot.pending = true;
    slot.result = 0;
    SetStatus(slot, Worker::Status::working);
    if (!begun_by) {
        slot.job = job;
        slot.record = record;
        Start(slot);
    }
    return static_cast<int>(slot.index);
}

void WorkerPool::Stage(const RecordJob& job, const FastQRecord& record) {
    staged_job = job;
    staged_record = record;
    const std::lock_guard lock(mutex);
    staged = unseen == 0;
}

void WorkerPool::Start(Slot& slot) {
    bool is_here = false;
    {
        const std::lock_guard lock(mutex);
        ++slot.begun;
        if (!slot.thread.joinable()) {
            try {
                slot.thread = std::thread(&WorkerPool::RunThread, this, std::ref(slot));
            } catch (const std::system_error&) {
                // The system cannot start a thread, so this thread runs the job. The worker's next job tries again.
                is_here = true;
            }
        }
    }
    if (is_here) {
        RunJobs(slot);
    } else {
        slot.given.notify_one();
    }
}

void WorkerPool::RunThread(Slot& slot) {
    const auto has_news = [&] { return slot.begun > slot.ended || ending; };
    while (true) {
        YieldUntil(has_news, kWorkerYields);
        {
            std::unique_lock lock(mutex);
            slot.given.wait(lock, has_news);
            if (slot.begun == slot.ended) {
                return;
            }
        }
        RunJobs(slot);
    }
}

// A worker takes the staged job only here, when its own job ends. Submit then starts nothing; it only marks that worker
// as working.
//
//   owner    Stage ------------------ sleeps ---- Refresh, Reset, Submit
//                    \                 ^
//   worker   job 1 ---> ends, takes 2 -+- job 2 --------------------------->
void WorkerPool::RunJobs(Slot& slot) {
    for (bool goes_on = true; goes_on;) {
        Outcome outcome;
        try {
            outcome.result = slot.job(slot.record);
        } catch (...) {
            outcome.error = std::current_exception();
        }
        slot.job = nullptr;  // Destroyed before the owner learns that the job has ended.
        {
            const std::lock_guard lock(mutex);
            slot.outcomes[slot.ended++ % 2] = std::move(outcome);
            ++unseen;
            goes_on = std::exchange(staged, false);
            if (goes_on) {
                taker = slot.index;
                ++slot.begun;
                std::swap(slot.job, staged_job);
                std::swap(slot.record, staged_record);
            }
        }
        job_ended.notify_one();
        if (goes_on) {
            // If the owner waits for this processor, let it run first and stage a record before the next job ends.
            YieldUntil([this] { return unseen == 0; }, kOneYield);
        }
    }
}

void WorkerPool::Refresh() {
    const std::lock_guard lock(mutex);
    for (std::size_t index = 0; index < slots.size() && unseen > 0; ++index) {
        auto& slot = *slots[index];
        if (slot.pending && slot.HasEnded()) {
            TakeResult(slot);
        }
    }
}

void WorkerPool::TakeResult(Slot& slot) {
    const auto outcome = std::exchange(slot.outcomes[slot.seen++ % 2], {});
    --unseen;
    slot.pending = false;
    if (!outcome.error) {
        slot.result = outcome.result;
        slot.error_text.clear();
        SetStatus(slot, Worker::Status::finished);
        return;
    }
    try {
        std::rethrow_exception(outcome.error);
    } catch (const std::exception& error) {
        slot.error_text = error.what();
        SetStatus(slot, Worker::Status::failed);
    }
}

void WorkerPool::WaitForFinishedJob(std::chrono::milliseconds longest) {
    const auto has_news = [this] { return unseen > 0; };
    const auto start = Clock::now();
    YieldUntil(has_news, jobs_are_short && slots.size() < ProcessorCount() ? kOwnerYields : kOneYield);
    if (!has_news()) {
        std::unique_lock lock(mutex);
        job_ended.wait_for(lock, longest, has_news);
    }
    jobs_are_short = Clock::now() - start < kOwnerYields;
}

void WorkerPool::WaitForAll() {
    {
        std::unique_lock lock(mutex);
        for (const auto& slot : slots) {
            job_ended.wait(lock, [&] { return !slot->pending || slot->HasEnded(); });
        }
    }
    Refresh();
}

void WorkerPool::Reset(std::size_t index) {
    if (At(index).status == Worker::Status::working) {
        throw std::runtime_error("Cannot reset a worker that is still working.");
    }
    if (index < slots.size()) {
        SetStatus(*slots[index], Worker::Status::idle);
    }
}

void WorkerPool::SetStatus(Slot& slot, Worker::Status status) {
    if (auto* list = ListOf(slot.status)) {
        list->erase(std::ranges::lower_bound(*list, slot.index));
    }
    slot.status = status;
    if (auto* list = ListOf(status)) {
        list->insert(std::ranges::lower_bound(*list, slot.index), slot.index);
    }
}

std::vector<std::size_t>* WorkerPool::ListOf(Worker::Status status) {
    switch (status) {
        case Worker::Status::idle:
            return &idle.listed;
        case Worker::Status::finished:
            return &finished;
        case Worker::Status::failed:
            return &failed;
        case Worker::Status::working:
            break;
    }
    return nullptr;
}

}  // namespace Common
