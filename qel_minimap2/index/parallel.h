#pragma once

#include <cstddef>
#include <functional>

namespace qel_minimap2 {

/// The most threads that ForEach uses, the calling one included: the number of cores, unless set.
unsigned WorkerLimit();

/// Sets that number, at most 1024; 0 for the number of cores. Not while an index is being loaded or written: lists of
/// this size are in use.
void SetWorkerLimit(unsigned limit);

/// Calls `work(item, worker)` for each item below `items`, in their order, on several threads at a time. `worker`,
/// below WorkerLimit(), is the number of the thread. Where the system starts fewer threads, those that run do all the
/// work; the calling one always works. When a call throws, no further item begins, and the caller receives the first
/// exception.
void ForEach(std::size_t items, const std::function<void(std::size_t item, unsigned worker)>& work);

}  // namespace qel_minimap2
