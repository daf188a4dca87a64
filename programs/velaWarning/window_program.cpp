#include "programs/velaWarning/window_program.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <iterator>
#include <vector>

#include "Base/app.h"
#include "Base/zo_os_process.h"
#include "programs/velaWarning/message.h"

namespace kelvo::velaWarning {
namespace {

constexpr int kSignalBase = 128;

bool isSet(const char* variable) {
    const char* value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

// The window was there and somebody ended it, or its display. Any other failing end (not started, a
// library missing, a crash, no answer of the display) leaves the question open.
bool wasStopped(const zoUtil::Error& error, int code) {
    if (!error) return std::count(std::begin(kLostDisplay), std::end(kLostDisplay), code) != 0;
    for (int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGKILL})
        if (error.code() == kSignalBase + signal) return true;
    return false;
}

}  // namespace

std::optional<int> askInWindow(int argc, char** argv) {
    if (!isSet("DISPLAY") && !isSet("WAYLAND_DISPLAY")) return std::nullopt;
    std::vector<zoString::CString> command = {APP_getBinaryPath("velaWarningQt")};
    for (int i = 1; i < argc; ++i) command.emplace_back(argv[i]);
    int code = 0;
    const zoUtil::Error error =
        zoOS::ProcessManager::getInstance().startSync(command, zoOS::Filename(), code);
    if (!error && code >= kWindowClosed && code <= kWindowClosed + kMostButtons)
        return code - kWindowClosed;
    return wasStopped(error, code) ? std::optional(kNoButton) : std::nullopt;
}

}  // namespace kelvo::velaWarning
