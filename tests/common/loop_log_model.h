#pragma once

#include <algorithm>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace Tests {

/// Checks the log of a loop with at most 64 workers line by line against these rules:
/// - The idle worker with the lowest index takes the next job.
/// - A refresh takes place only when no worker is idle. It frees workers whose jobs have ended: first those with
///   finished jobs, then those with failed jobs, each in the order of their indices.
/// - Each job logs "Ran job <number>" at its end.
class LoopLogModel {
public:
    LoopLogModel(int threads, int jobs) : job_of(static_cast<std::size_t>(threads), kIdle), jobs(jobs) {}

    /// Returns what is wrong with the next line; empty if nothing is.
    std::string Take(const std::string& line) {
        const auto none_idle = std::ranges::count(job_of, kIdle) == 0;
        const auto number = NumberIn(line);
        if (line == "Submitted all jobs, now waiting for them to finish") {
            all_submitted = true;
            return next == jobs ? "" : "not all jobs were submitted";
        }
        if (line.starts_with("Submitting")) {
            looked = {-1, -1};
            const auto worker = std::ranges::find(job_of, kIdle);
            if (worker == job_of.end() || all_submitted || number != next++) {
                return "no worker is idle, another job is next, or all jobs were submitted";
            }
            *worker = number;
            return "";
        }
        if (line.starts_with("Ran")) {
            const bool is_running = std::ranges::count(job_of, number) == 1 && !ended.contains(number);
            ended.insert(number);
            return is_running ? "" : "the job was not submitted, or it has ended already";
        }
        auto& job = job_of.at(static_cast<std::size_t>(number));
        const std::pair place(Fails(job), number);
        const bool right = (none_idle || looked.second >= 0) && ended.contains(job) && place > looked;
        job = kIdle;
        looked = place;
        return right ? "" : "the worker's job has not ended, no refresh was due, or the order of workers is wrong";
    }
    bool IsDone() const { return all_submitted && ended.size() == static_cast<std::size_t>(jobs); }
    /// 1 for the jobs that must fail, 0 for the others.
    static int Fails(int job) { return job % 7 == 3 ? 1 : 0; }

private:
    static constexpr int kIdle = -1;
    static int NumberIn(const std::string& line) {
        const auto digits = line.find_first_of("0123456789");
        return digits != std::string::npos ? std::stoi(line.substr(digits)) : 0;
    }

    std::vector<int> job_of;  // The job of each worker.
    std::set<int> ended;
    // For the most recently freed worker: Fails() of its job, and the worker's index. Both are -1 after a submission.
    std::pair<int, int> looked = {-1, -1};
    int next = 0, jobs;
    bool all_submitted = false;
};

}  // namespace Tests
