#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>
#include <vector>

#include "Base/zo_os_path.h"
#include "Base/zo_os_process.h"

using zoString::CString;
using zoUtil::Error;

namespace zoOS {
namespace {

using Arguments = std::vector<CString>;

constexpr int kSignalBase = 128;  // as shells count: code of an end by a signal

// Programs of startAsync that have not been collected. Lives for the process; one thread.
std::vector<pid_t> g_running;

// Attributes and file actions of one start, released at its end.
class SpawnPlan {
  public:
    SpawnPlan() {
        posix_spawnattr_init(&attributes_);
        posix_spawn_file_actions_init(&actions_);
    }
    ~SpawnPlan() {
        posix_spawn_file_actions_destroy(&actions_);
        posix_spawnattr_destroy(&attributes_);
    }
    SpawnPlan(const SpawnPlan&) = delete;
    SpawnPlan& operator=(const SpawnPlan&) = delete;

    int prepare(const CString& directory, bool detached) {
        sigset_t none, usual;
        sigemptyset(&none);
        sigemptyset(&usual);
        sigaddset(&usual, SIGPIPE);
        sigaddset(&usual, SIGCHLD);
        int flags = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
        if (detached) flags |= POSIX_SPAWN_SETSID;
        int error = posix_spawnattr_setsigmask(&attributes_, &none);
        if (error == 0) error = posix_spawnattr_setsigdefault(&attributes_, &usual);
        if (error == 0) error = posix_spawnattr_setflags(&attributes_, static_cast<short>(flags));
        if (error == 0 && detached) error = silence();
        if (error == 0) error = closeOthers();
        if (error == 0 && !directory.isEmpty())
            error = posix_spawn_file_actions_addchdir_np(&actions_, directory.c_str());
        return error;
    }

    // The program sees the path that it was started by as its name.
    int start(const CString& program, const Arguments& arguments, pid_t& pid) const {
        std::vector<char*> words;
        for (const CString& word : arguments) words.push_back(const_cast<char*>(word.c_str()));
        words[0] = const_cast<char*>(program.c_str());
        words.push_back(nullptr);
        return posix_spawn(&pid, words[0], &actions_, &attributes_, words.data(), environ);
    }

  private:
    int silence() {
        int error = 0;
        for (int fd = STDIN_FILENO; fd <= STDERR_FILENO && error == 0; ++fd)
            error = posix_spawn_file_actions_addopen(&actions_, fd, "/dev/null", O_RDWR, 0);
        return error;
    }

    // Files that were opened without close-on-exec by others stay with us too. Systems without this
    // call close only what is marked.
    int closeOthers() {
#if defined(__GLIBC_PREREQ) && __GLIBC_PREREQ(2, 34)
        return posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1);
#else
        return 0;
#endif
    }

    posix_spawnattr_t attributes_;
    posix_spawn_file_actions_t actions_;
};

bool holdsZero(const CString& text) {
    return text.str().find('\0') != std::string::npos;
}

Error notStarted(int error, const Arguments& arguments, const Filename& directory) {
    const bool inside = !directory.isEmpty();
    return Error(error, "cannot start \"%s\"%s%s%s: %s", arguments[0].c_str(),
                 inside ? " in \"" : "", directory.path().c_str(), inside ? "\"" : "",
                 std::strerror(error));
}

Error start(const Arguments& arguments, const Filename& directory, bool detached, pid_t& pid) {
    if (arguments.empty() || arguments[0].isEmpty()) return Error(EINVAL, "no program to start");
    int error = EINVAL;
    if (std::none_of(arguments.begin(), arguments.end(), holdsZero) &&
        !holdsZero(directory.path())) {
        SpawnPlan plan;
        error = plan.prepare(nativePath(directory.path().c_str()), detached);
        if (error == 0) error = plan.start(nativePath(arguments[0].c_str()), arguments, pid);
    }
    return error == 0 ? Error() : notStarted(error, arguments, directory);
}

pid_t waitFor(pid_t pid, int& status, int options) {
    pid_t result;
    do result = waitpid(pid, &status, options);
    while (result < 0 && errno == EINTR);
    return result;
}

// Collects what has ended, and forgets what somebody else has collected.
void collectEnded() {
    const auto ended = [](pid_t pid) {
        int status = 0;
        return waitFor(pid, status, WNOHANG) != 0;
    };
    g_running.erase(std::remove_if(g_running.begin(), g_running.end(), ended), g_running.end());
}

}  // namespace

ProcessManager& ProcessManager::getInstance() {
    static ProcessManager manager;
    return manager;
}

Error ProcessManager::startSync(const Arguments& arguments, const Filename& workingDirectory,
                                int& exitCode) {
    exitCode = -1;
    collectEnded();
    pid_t pid = 0;
    if (Error error = start(arguments, workingDirectory, false, pid)) return error;
    int status = 0;
    const char* program = arguments[0].c_str();
    if (waitFor(pid, status, 0) < 0) {
        const int error = errno;
        return Error(error, "no exit code of \"%s\": %s", program, std::strerror(error));
    }
    if (WIFSIGNALED(status))
        return Error(kSignalBase + WTERMSIG(status), "\"%s\" was ended by signal %d (%s)", program,
                     WTERMSIG(status), strsignal(WTERMSIG(status)));
    exitCode = WEXITSTATUS(status);
    return Error();
}

Error ProcessManager::startAsync(const Arguments& arguments, const Filename& workingDirectory) {
    collectEnded();
    g_running.reserve(g_running.size() + 1);  // no failure once the program runs
    pid_t pid = 0;
    Error error = start(arguments, workingDirectory, true, pid);
    if (!error) g_running.push_back(pid);
    return error;
}

}  // namespace zoOS
