// What people ask about a cache directory.
#pragma once

#include <string>

namespace kelvo::zocached {

/// Prints the figures of the running server. 0; 1 when there is none.
int reportStatus(const std::string& directory);

/// Prints how the index and the files agree, changing nothing. 0 when they do; 1 otherwise.
int reportCheck(const std::string& directory);

}  // namespace kelvo::zocached
