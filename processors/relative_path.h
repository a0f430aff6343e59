#pragma once

#include <string>

#include <boost/filesystem/path.hpp>

namespace Tavik {

/// `file` seen from the folder `base`, by their elements alone: nothing is looked up in the file system. "/"
/// and
/// "\" at the end of `base` do not count. Above the last common element there is a ".." for each further
/// element of `base`.
boost::filesystem::path RelativePath(const boost::filesystem::path& file, std::string base);

}  // namespace Tavik
