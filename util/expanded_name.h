// Full paths of files of a kind, without limits of length.
#pragma once

#include <string>

namespace kelvo::util {

/// What expand_filename makes of `name`, which may be null; takes quotes off it in place.
std::string expandedName(char* name, int type);

/// Whether the system finds anything under this path.
bool fileExists(const std::string& path);

}  // namespace kelvo::util
