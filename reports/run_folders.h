#pragma once

#include <string>
#include <vector>

namespace Reports {

/// The folders of the runs whose rows the summary in `folder` has, with `folder` in front of their names: itself, or,
/// where it holds no log file, the folders in its folder "chunks", by name: a summary that was joined from theirs.
std::vector<std::string> RunFolders(const std::string& folder);

}  // namespace Reports
