#pragma once

#include <string>

#include <boost/filesystem/path.hpp>

namespace Tavik {

/// The path from the folder `base` to `file`, computed from their elements alone, without access to the file system.
/// The result has a ".." for each element of `base` after the last common one, then the remaining elements of `file`.
/// Trailing "/" and "\" of `base` are ignored.
boost::filesystem::path RelativePath(const boost::filesystem::path& file, std::string base);

}  // namespace Tavik
