// Finding or starting the server of a cache directory.
#pragma once

#include <memory>

#include "Base/zo_string.h"
#include "Base/zo_tcp.h"
#include "Base/zo_util.h"

namespace kelvo::filecache {

/// Seconds in which a server that was started has to connect back.
constexpr double kStartSeconds = 5.0;
/// Part of it in which the server that the lock file names has to answer its first request. A
/// process that hangs, or has come by its port, must leave time to start another server.
constexpr double kKnownServerSeconds = 1.5;

/// Full path of the lock file of a cache directory.
zoString::CString lockPathIn(const zoString::CString& directory);

/// Connects to the server that the lock file names, within so many seconds. Errors: code 1 "Cannot
/// open lockfile: ..." and "Cannot read lockfile: ...", and those of ClientSocket::connect.
zoUtil::Error connectToKnownServer(const zoString::CString& lockPath, double seconds,
                                   std::unique_ptr<zoTCP::Socket>& socket);

/// Starts a server and waits for it to connect back, for so many seconds; or, when
/// VELA_FILE_CACHE_MANUAL_START is set, says on stdout how to start it and waits without limit.
/// Code 1 "could not connect to cache server" when none comes.
zoUtil::Error startServer(double seconds, std::unique_ptr<zoTCP::Socket>& socket);

/// Removes the lock file, whatever it is; nobody hears of failures.
void removeLockFile(const zoString::CString& lockPath);

}  // namespace kelvo::filecache
