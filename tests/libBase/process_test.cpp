// What could break: arguments changed on their way, wrong exit codes, errors that look like success,
// files and signal settings that leak into the program, ended children that are never collected.
#include "Base/zo_os_process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/child_process.h"

namespace {

using zoOS::Filename;
using zoString::CString;
using zoUtil::Error;
using Arguments = std::vector<CString>;
namespace fs = std::filesystem;

class Process : public testing::Test {
  protected:
    Process() {
        char name[] = "/tmp/process_test.XXXXXX";
        EXPECT_NE(mkdtemp(name), nullptr);
        directory_ = name;
        output_ = directory_ / "output";
    }
    ~Process() override { fs::remove_all(directory_); }

    Error sync(const Arguments& arguments, int& code, const Filename& directory = Filename()) {
        return manager_.startSync(arguments, directory, code);
    }
    Error async(const Arguments& arguments) { return manager_.startAsync(arguments, Filename()); }
    // A shell command as a program; $0 is the output file.
    Arguments shell(const std::string& command) const {
        return {"/bin/sh", "-c", command, output_.string()};
    }
    std::string output() const {
        std::ifstream file(output_);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    // Runs the command and returns what it wrote to $0.
    std::string outputOf(const std::string& command, const Filename& directory = Filename()) {
        fs::remove(output_);
        int code = -2;
        const Error error = sync(shell(command), code, directory);
        EXPECT_FALSE(error) << error.message();
        EXPECT_EQ(code, 0);
        return output();
    }
    std::string awaitOutput() const {
        for (int i = 0; i < 1000 && output().empty(); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        return output();
    }

    zoOS::ProcessManager& manager_ = zoOS::ProcessManager::getInstance();
    fs::path directory_, output_;
};

TEST_F(Process, ArgumentsArriveByteForByte) {
    const Arguments hard = {"",
                            " ",
                            "two words",
                            "'",
                            "\"",
                            "\\",
                            "$HOME",
                            "*",
                            "a\nb",
                            "\t",
                            "-x",
                            "--",
                            "gr\xC3\xB6\xC3\x9F"
                            "er",
                            "\xFF\xFE",
                            ";|&<>()`",
                            std::string(70000, 'x')};
    Arguments command = shell("printf '%s\\0' \"$@\" >\"$0\"");
    command.insert(command.end(), hard.begin(), hard.end());
    int code = -2;
    ASSERT_FALSE(sync(command, code));
    std::string expected;
    for (const CString& argument : hard) expected += argument.str() + '\0';
    EXPECT_EQ(output(), expected);
}

TEST_F(Process, EveryExitCodeComesBack) {
    for (int wanted : {0, 1, 2, 125, 126, 127, 128, 200, 255}) {
        int code = -2;
        EXPECT_FALSE(sync(shell("exit " + std::to_string(wanted)), code));
        EXPECT_EQ(code, wanted);
    }
}

TEST_F(Process, WhatCannotRunIsAnError) {
    const std::string plain = (directory_ / "plain").string();
    std::ofstream(plain) << "#!/bin/sh\n";
    const struct {
        const char* what;
        Arguments arguments;
        const char* directory;
        int code;
    } cases[] = {
        {"nothing", {}, "", EINVAL},
        {"empty name", {""}, "", EINVAL},
        {"missing program", {"/nonexistent/program"}, "", ENOENT},
        {"not executable", {plain}, "", EACCES},
        {"a directory", {"/tmp"}, "", EACCES},
        {"no search path", {"sh"}, "", ENOENT},
        {"missing directory", {"/bin/true"}, "/nonexistent", ENOENT},
        {"zero byte in an argument", {"/bin/true", std::string("a\0b", 3)}, "", EINVAL},
        {"argument too long", {"/bin/true", std::string(1 << 20, 'x')}, "", E2BIG},
        {"ended by SIGKILL", shell("kill -9 $$"), "", 128 + SIGKILL},
        {"ended by SIGTERM", shell("kill -15 $$"), "", 128 + SIGTERM},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        int code = -2;
        const Error error = sync(c.arguments, code, Filename(c.directory));
        EXPECT_EQ(error.code(), c.code) << error.message();
        EXPECT_FALSE(error.message().isEmpty());
        EXPECT_EQ(code, -1);
        if (c.code >= 128) continue;  // seen only by those who wait
        EXPECT_EQ(manager_.startAsync(c.arguments, Filename(c.directory)).code(), c.code);
    }
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
}

TEST_F(Process, RunsInTheWorkingDirectory) {
    const std::string here = fs::current_path().string() + "\n";
    EXPECT_EQ(outputOf("pwd -P >\"$0\""), here);
    EXPECT_EQ(outputOf("pwd -P >\"$0\"", Filename("/usr")), "/usr\n");
    EXPECT_EQ(fs::current_path().string() + "\n", here);
}

TEST_F(Process, GetsNoFileAndNoSignalSettingOfOurs) {
    const int inherited = open("/dev/null", O_RDONLY);  // on purpose without O_CLOEXEC
    ASSERT_GE(inherited, 0);
    sigset_t some, before;
    sigemptyset(&some);
    sigaddset(&some, SIGTERM);
    sigprocmask(SIG_BLOCK, &some, &before);
    const auto handler = std::signal(SIGPIPE, SIG_IGN);
    const std::string files = outputOf("exec ls /proc/self/fd >\"$0\"");
    const std::string state = outputOf("exec sed -n '/^Sig[BI]/p' /proc/self/status >\"$0\"");
    std::signal(SIGPIPE, handler);
    sigprocmask(SIG_SETMASK, &before, nullptr);
    close(inherited);
    EXPECT_EQ(files, "0\n1\n2\n3\n");  // the last is the directory that ls reads
    EXPECT_EQ(state.substr(0, 24), "SigBlk:\t0000000000000000") << state;
    const std::size_t ignored = state.find("SigIgn:");
    ASSERT_NE(ignored, std::string::npos) << state;
    const auto mask = std::stoull(state.substr(ignored + 8), nullptr, 16);
    EXPECT_EQ(mask >> (SIGPIPE - 1) & 1, 0U) << state;
}

TEST_F(Process, LeavesNoFilesOpen) {
    const auto openFiles = [] {
        return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
    };
    const auto before = openFiles();
    int code = 0;
    for (int i = 0; i < 20; ++i) {
        sync({"/bin/true"}, code);
        sync({"/nonexistent"}, code);
        async({"/bin/true"});
    }
    EXPECT_EQ(openFiles(), before);
}

TEST_F(Process, AsyncLeadsASessionOfItsOwnAndIsSilent) {
    const char* command =
        "files=$(readlink /proc/$$/fd/[012]); sid=$(ps -o sid= -p $$); "
        "echo $sid $$ $files >\"$0.new\"; mv \"$0.new\" \"$0\"";
    ASSERT_FALSE(async(shell(command)));
    std::istringstream lines(awaitOutput());
    long session = 0, pid = -1;
    lines >> session >> pid;
    EXPECT_EQ(session, pid);
    std::string file;
    int silent = 0;
    while (lines >> file) silent += file == "/dev/null";
    EXPECT_EQ(silent, 3);
}

TEST_F(Process, AsyncDoesNotWaitAndIsCollectedByALaterCall) {
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_FALSE(async(shell("echo $$ >\"$0\"; exec sleep 30")));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
    const pid_t pid = std::stoi(awaitOutput());
    int code = 0;
    EXPECT_FALSE(sync({"/bin/true"}, code));
    EXPECT_EQ(kill(pid, 0), 0) << "a running program is left alone";
    kill(pid, SIGKILL);
    siginfo_t info{};
    ASSERT_EQ(waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT), 0);
    EXPECT_FALSE(sync({"/bin/true"}, code));
    EXPECT_EQ(kill(pid, 0), -1) << "the ended program has not been collected";
}

TEST_F(Process, OtherChildrenAreLeftToTheirOwner) {
    const pid_t other = fork();
    if (other == 0) _exit(7);
    siginfo_t info{};
    ASSERT_EQ(waitid(P_PID, static_cast<id_t>(other), &info, WEXITED | WNOWAIT), 0);
    int code = 0, status = 0;
    EXPECT_FALSE(sync({"/bin/true"}, code));
    EXPECT_FALSE(async({"/bin/true"}));
    EXPECT_EQ(waitpid(other, &status, 0), other);
    EXPECT_EQ(WEXITSTATUS(status), 7);
}

TEST_F(Process, SignalsDuringTheWaitAreSurvived) {
    struct sigaction action {
    }, before;
    action.sa_handler = [](int) {};  // without SA_RESTART
    sigaction(SIGALRM, &action, &before);
    ualarm(20000, 20000);
    int code = -1;
    const Error error = sync(shell("sleep 0.3; exit 3"), code);
    ualarm(0, 0);
    sigaction(SIGALRM, &before, nullptr);
    EXPECT_FALSE(error) << error.message();
    EXPECT_EQ(code, 3);
}

TEST_F(Process, AnExitCodeTakenAwayIsAnError) {
    EXPECT_TRUE(kelvo::test::passesInChild([this] {
        std::signal(SIGCHLD, SIG_IGN);
        int code = -2;
        EXPECT_EQ(sync({"/bin/true"}, code).code(), ECHILD);
        EXPECT_EQ(code, -1);
    }));
}

}  // namespace
