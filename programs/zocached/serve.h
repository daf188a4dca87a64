// From the start to the end of a server process.
#pragma once

#include "programs/zocached/options.h"

namespace kelvo::zocached {

/// Connects to the client that waits at the port, reads which directory it means, and becomes the
/// server of that directory, or hands the client over to the one that runs. Returns the exit code.
int serve(const Options& options);

}  // namespace kelvo::zocached
