#pragma once

#include <string>
#include <vector>

namespace Reports {

/// The folders of the runs whose rows are in the summary in `folder`, as paths that begin with `folder`. Returns only
/// `folder` itself if it contains a log file or has no sub-folders in "chunks". Otherwise the summary was joined from
/// the summaries in these sub-folders, which are returned sorted by name.
std::vector<std::string> RunFolders(const std::string& folder);

}  // namespace Reports
