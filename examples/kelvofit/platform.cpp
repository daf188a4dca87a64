#include "platform.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "failure.h"

namespace kelvo::fit {
namespace {

volatile sig_atomic_t g_interrupted = 0;  // for the process; set by the handler only

void onInterrupt(int) {
    g_interrupted = 1;
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

}  // namespace

void watchInterrupt() {
    struct sigaction action = {};
    action.sa_handler = onInterrupt;
    sigemptyset(&action.sa_mask);
    action.sa_flags = static_cast<int>(SA_RESTART | SA_RESETHAND);
    sigaction(SIGINT, &action, nullptr);
}

bool interrupted() {
    return g_interrupted != 0;
}

std::string writeTemporary(const std::string& path, const std::string& content) {
    const std::string name = path + ".tmp" + std::to_string(getpid());
    const int file = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (file < 0) failAt({name}, "cannot be created: " + systemError());
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
