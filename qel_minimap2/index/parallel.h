#pragma once

#include <cstddef>
#include <functional>

namespace qel_minimap2 {

/// The highest number of threads that ForEach uses, including the calling thread: what SetWorkerLimit set, or
/// by default the number of cores.
unsigned WorkerLimit();

/// Makes WorkerLimit return `limit`, but at most 1024, or the number of cores if `limit` is 0. Do not call while an
/// index is being loaded, written or checked, because lists with one element per worker are in use then.
void SetWorkerLimit(unsigned limit);

/// Calls `work(item, worker)` for each item from 0 to `items` - 1 on several threads, and returns when all calls have
/// ended. Calls begin in ascending order of the items. `worker`, below WorkerLimit(), is the number of the thread. The
/// calling thread works too. If no more threads can be started, those already running do all the work. After a call
/// throws, the threads take no more items, and ForEach throws the first exception.
void ForEach(std::size_t items, const std::function<void(std::size_t item, unsigned worker)>& work);

}  // namespace qel_minimap2
