// The log file of the server, in the cache directory.
#pragma once

#include <string>

namespace kelvo::zocached {

enum class Level { kOff, kError, kWarning, kInfo, kDebug };

/// "off", "error", "warning", "info" or "debug"; false for anything else.
bool levelOf(const std::string& name, Level& level);

/// From now on lines up to `level` go to "zocached.log" in the directory (a descriptor, borrowed).
/// A file beyond 1 MiB becomes "zocached.log.1" first. Without a usable file nothing is logged.
void openLog(int directory, Level level);

/// Writes one line with time and process. Control characters are replaced. Errors and warnings go
/// to stderr too.
void logLine(Level level, const char* format, ...) __attribute__((format(printf, 2, 3)));

}  // namespace kelvo::zocached
