#pragma once

#include <string>
#include <vector>

namespace Reports {

/// The folders of the runs whose rows are in the summary in `folder`, as paths that begin with `folder`. This is
/// `folder` itself if it contains a log file. Otherwise the summary was joined from the summaries in the sub-folders of
/// "chunks", and these sub-folders are returned, sorted by name.
std::vector<std::string> RunFolders(const std::string& folder);

}  // namespace Reports
