#pragma once

#include <cstddef>
#include <functional>

namespace qel_minimap2 {

/// How many threads ForEach uses at most, the calling one included: as many as there are cores.
unsigned WorkerLimit();

/// Calls `work(item, worker)` for each item below `items`, in their order, on several threads at a time. `worker`,
/// below WorkerLimit(), tells the threads apart. Where the system starts fewer threads, those that run
/// do all the work; the calling one always works. When a call throws, no further item is begun, and the first exception
/// is thrown to the caller.
void ForEach(std::size_t items, const std::function<void(std::size_t item, unsigned worker)>& work);

}  // namespace qel_minimap2
