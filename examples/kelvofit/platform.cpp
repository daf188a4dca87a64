#include "platform.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>
#include <vector>

#include "failure.h"

namespace kelvo::fit {
namespace {

constexpr int kEnding[] = {SIGINT, SIGTERM, SIGHUP, SIGPIPE};

// For the process. The handler reads the list, so it changes under SignalsHeld alone.
volatile sig_atomic_t g_interrupted = 0;  // set by the handler only
std::vector<std::string> g_unfinished;    // paths; a directory stands before what is in it

void onEnding(int signal) {
    if (signal == SIGINT && g_interrupted == 0) {
        g_interrupted = 1;
        return;
    }
    for (std::size_t k = g_unfinished.size(); k-- > 0;)
        if (unlink(g_unfinished[k].c_str()) != 0) rmdir(g_unfinished[k].c_str());
    ::signal(signal, SIG_DFL);
    raise(signal);
}

sigset_t endingSignals() {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : kEnding) sigaddset(&set, signal);
    return set;
}

std::string systemError() {
    return std::strerror(errno);
}

bool writeAll(int file, const std::string& content) {
    for (std::size_t at = 0; at < content.size();) {
        const ssize_t count = write(file, content.data() + at, content.size() - at);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        at += static_cast<std::size_t>(count);
    }
    return fsync(file) == 0;
}

// A new file beside `path`, and its name. Process numbers come again: a name may be left of a run
// that was killed.
std::pair<int, std::string> openTemporary(const std::string& path) {
    const SignalsHeld held;
    const std::string stem = path + ".tmp" + std::to_string(getpid());
    std::string name = stem;
    int file = -1;
    for (int more = 1; more < 100; ++more) {
        file = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (file >= 0 || errno != EEXIST) break;
        name = stem + "-" + std::to_string(more);
    }
    if (file < 0) failAt({name}, "cannot be created: " + systemError());
    g_unfinished.push_back(name);
    return {file, name};
}

}  // namespace

void watchInterrupt() {
    struct sigaction action = {};
    action.sa_handler = onEnding;
    action.sa_mask = endingSignals();
    action.sa_flags = SA_RESTART;
    for (const int signal : kEnding) {
        struct sigaction before;
        const bool ignored =
            sigaction(signal, nullptr, &before) == 0 && before.sa_handler == SIG_IGN;
        // Who starts us with nohup does not want a hangup to end us.
        if (!ignored || signal == SIGINT) sigaction(signal, &action, nullptr);
    }
}

bool interrupted() {
    return g_interrupted != 0;
}

SignalsHeld::SignalsHeld() {
    const sigset_t ending = endingSignals();
    sigprocmask(SIG_BLOCK, &ending, &before_);
}

SignalsHeld::~SignalsHeld() {
    sigprocmask(SIG_SETMASK, &before_, nullptr);
}

bool makeUnfinishedDirectory(const std::string& path, std::error_code& error) {
    const SignalsHeld held;
    const bool made = std::filesystem::create_directory(path, error);
    if (made) g_unfinished.push_back(path);
    return made;
}

void forgetUnfinished() {
    const SignalsHeld held;
    g_unfinished.clear();
}

std::string writeTemporary(const std::string& path, const std::string& content) {
    const auto [file, name] = openTemporary(path);
    const bool written = writeAll(file, content);
    const std::string why = systemError();
    if (close(file) != 0 || !written) {
        unlink(name.c_str());
        failAt({path}, "cannot be written: " + (written ? systemError() : why));
    }
    return name;
}

void checkWritable(const std::string& dir) {
    struct stat status;
    if (stat(dir.c_str(), &status) != 0) {
        if (errno == ENOENT) return;
        failAt({dir}, "cannot be used for the results: " + systemError());
    }
    if (!S_ISDIR(status.st_mode)) failAt({dir}, "cannot be used for the results: not a directory");
    if (access(dir.c_str(), W_OK | X_OK) != 0)
        failAt({dir}, "cannot be used for the results: " + systemError());
}

void flushDirectory(const std::string& dir) {
    const int handle = open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (handle < 0) return;
    fsync(handle);
    close(handle);
}

}  // namespace kelvo::fit
