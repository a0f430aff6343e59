#pragma once

#include <string>

#include <boost/filesystem/path.hpp>

namespace Tavik {

/// The path from the folder `base` to `file`, computed from their elements without access to the file system. The
/// common leading elements are dropped. The result has a ".." for each remaining element of `base`, then the remaining
/// elements of `file`. Each "/" or "\" at the end of `base` is ignored.
boost::filesystem::path RelativePath(const boost::filesystem::path& file, std::string base);

}  // namespace Tavik
