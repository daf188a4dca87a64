#include "filecache/connection.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

#include "Base/app.h"
#include "Base/zo_os_file.h"
#include "Base/zo_os_filename.h"
#include "Base/zo_os_path.h"
#include "Base/zo_os_process.h"
#include "KelvoBase/file_cache_protocol.h"

using zoOS::Filename;
using zoString::CString;
using zoUtil::Error;
using zoUtil::Interval;

namespace kelvo::filecache {
namespace {

constexpr int kLockFileBytes = 127;  // as much of it is looked at
constexpr int kBacklog = 1;
constexpr const char* kManualStart = "VELA_FILE_CACHE_MANUAL_START";

// Leading digits as atoi takes them, but numbers of any size stay numbers; all that are no port
// fail to connect.
int portIn(const CString& text) {
    const long number = std::strtol(text.c_str(), nullptr, 10);
    return static_cast<int>(std::clamp<long>(number, 0, std::numeric_limits<int>::max()));
}

// `seconds` becomes what the wait for it may take.
Error launch(const std::string& port, double& seconds) {
    if (std::getenv(kManualStart) != nullptr) {
        std::printf("Run: zocached --port %s\n", port.c_str());
        std::fflush(stdout);  // before waiting, also when stdout is a pipe
        seconds = 0.0;        // without limit
        return Error();
    }
    return zoOS::ProcessManager::getInstance().startAsync(
        {APP_getBinaryPath("zocached"), "--port", port}, Filename());
}

}  // namespace

CString lockPathIn(const CString& directory) {
    return Filename::join(directory, zoKelvoBase::FileCacheProtocol::LockFileName);
}

Error connectToKnownServer(const CString& lockPath, double seconds,
                           std::unique_ptr<zoTCP::Socket>& socket) {
    CString text;
    if (zoOS::readOwnFile(lockPath.c_str(), kLockFileBytes, text))
        return Error(1, "Cannot open lockfile: %s", lockPath.c_str());
    if (text.isEmpty()) return Error(1, "Cannot read lockfile: %s", lockPath.c_str());
    const zoTCP::Address address(zoTCP::Address::localhost, portIn(text));
    auto client = std::make_unique<zoTCP::ClientSocket>(address);
    if (Error error = client->connect(Interval(seconds))) return error;
    socket = std::move(client);
    return Error();
}

Error startServer(double seconds, std::unique_ptr<zoTCP::Socket>& socket) {
    zoTCP::Server server(-1, kBacklog);
    server.setLoopbackOnly();
    if (Error error = server.listen()) return error;
    if (Error error = launch(std::to_string(server.getPort()), seconds)) return error;
    zoTCP::Socket* accepted = nullptr;
    Error error = server.accept(&accepted, Interval(seconds));
    socket.reset(accepted);
    if (!error && !socket) return Error(1, "could not connect to cache server");
    return error;
}

void removeLockFile(const CString& lockPath) {
    std::remove(zoOS::nativePath(lockPath.c_str()).c_str());
}

}  // namespace kelvo::filecache
