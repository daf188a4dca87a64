#include "tests/support/child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>

#include "Base/app.h"
#include "Base/rpt.h"

namespace kelvo::test {
namespace {

using Clock = std::chrono::steady_clock;

// Sends failed expectations to stderr, where the parent reads them; stdout belongs to the parent.
class PrintFailures : public testing::EmptyTestEventListener {
    void OnTestPartResult(const testing::TestPartResult& result) override {
        if (!result.failed()) return;
        std::fprintf(stderr, "%s:%d: %s\n", result.file_name() ? result.file_name() : "?",
                     result.line_number(), result.message());
    }
};

int runBody(const std::function<void()>& body) {
    // Failures of the parent so far must not count as the child's.
    const testing::TestResult* result =
        testing::UnitTest::GetInstance()->current_test_info()->result();
    const int before = result->total_part_count();
    auto& listeners = testing::UnitTest::GetInstance()->listeners();
    delete listeners.Release(listeners.default_result_printer());
    listeners.Append(new PrintFailures);
    try {
        body();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "exception: %s\n", error.what());
        return 2;
    } catch (...) {
        std::fprintf(stderr, "exception\n");
        return 2;
    }
    for (int i = before; i < result->total_part_count(); ++i)
        if (result->GetTestPartResult(i).failed()) return 1;
    return 0;
}

[[noreturn]] void runChild(const std::function<void()>& body, int errorEnd) {
    const rlimit noCore = {0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    dup2(errorEnd, STDERR_FILENO);
    close(errorEnd);
    rptSetSink(nullptr, nullptr);
    const int code = runBody(body);
    std::fflush(nullptr);
    _exit(code);
}

// Reads until the child has closed its end; false when the deadline came first.
bool readAll(int fd, Clock::time_point deadline, std::string& text) {
    char buffer[4096];
    for (;;) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        pollfd wait = {fd, POLLIN, 0};
        if (left <= 0 || poll(&wait, 1, static_cast<int>(left)) == 0) return false;
        const ssize_t n = read(fd, buffer, sizeof buffer);
        if (n == 0) return true;
        if (n > 0) text.append(buffer, static_cast<std::size_t>(n));
    }
}

std::string describe(const ChildResult& child) {
    const std::string end = child.timedOut ? "was killed at its deadline"
                            : child.signal ? "ended by signal " + std::to_string(child.signal)
                                           : "ended with code " + std::to_string(child.exitCode);
    return "the child " + end + " and wrote:\n" + child.errors;
}

}  // namespace

void becomeProgram(const char* name, const std::vector<std::string>& arguments) {
    const std::string path = APP_getBinaryPath(name).str();
    std::vector<char*> words = {const_cast<char*>(path.c_str())};
    for (const std::string& word : arguments) words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    execv(words[0], words.data());
    _exit(99);
}

ChildResult runInChild(const std::function<void()>& body, int seconds) {
    ChildResult child;
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        ADD_FAILURE() << "no pipe";
        return child;
    }
    std::fflush(nullptr);
    const pid_t pid = fork();
    if (pid == 0) runChild(body, ends[1]);
    close(ends[1]);
    if (pid < 0) {
        ADD_FAILURE() << "no child";
        close(ends[0]);
        return child;
    }
    child.timedOut = !readAll(ends[0], Clock::now() + std::chrono::seconds(seconds), child.errors);
    close(ends[0]);
    if (child.timedOut) kill(pid, SIGKILL);
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) continue;
    if (WIFSIGNALED(status)) child.signal = WTERMSIG(status);
    if (WIFEXITED(status)) child.exitCode = WEXITSTATUS(status);
    return child;
}

testing::AssertionResult abortsWithReport(const std::function<void()>& body,
                                          const std::string& report) {
    const ChildResult child = runInChild(body);
    if (child.signal == SIGABRT && child.errors == report) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "expected an abort after:\n" << report << describe(child);
}

testing::AssertionResult passesInChild(const std::function<void()>& body) {
    const ChildResult child = runInChild(body);
    if (child.signal == 0 && child.exitCode == 0 && !child.timedOut)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << describe(child);
}

}  // namespace kelvo::test
