#pragma once

#include <string>

#include <boost/filesystem/path.hpp>

namespace Tavik {

/// The path that leads from the folder `base` to `file`, made of their elements alone: nothing is looked up in the
/// file system. The result has a ".." for each element of `base` behind the last common one, then the further
/// elements of `file`. Any "/" and "\" at the end of `base` do not count.
boost::filesystem::path RelativePath(const boost::filesystem::path& file, std::string base);

}  // namespace Tavik
