// What could break: arguments changed on their way, wrong exit codes, errors that look like success,
// files and signal settings that leak into the program, ended children that are never collected.
#include "Base/zo_os_process.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "tests/support/child_process.h"
#include "tests/support/temporary_directory.h"
#include "tests/support/test.h"

namespace {

using zoOS::Filename;
using zoString::CString;
using Arguments = std::vector<CString>;
namespace fs = std::filesystem;

class Process : public testing::Test {
  protected:
    zoUtil::Error sync(const Arguments& arguments, int& code, const char* directory = "") {
        return manager_.startSync(arguments, Filename(directory), code);
    }
    zoUtil::Error async(const Arguments& arguments, const char* directory = "") {
        return manager_.startAsync(arguments, Filename(directory));
    }
    // A shell command as a program; $0 is the output file.
    Arguments shell(const std::string& command) const {
        return {"/bin/sh", "-c", command, directory_ / "output"};
    }
    std::string output() const { return kelvo::test::contentOf(directory_ / "output"); }
    std::string awaitOutput() const {
        for (int i = 0; i < 1000 && output().empty(); ++i) usleep(10000);
        return output();
    }
    std::string outputOf(const std::string& command, const char* directory = "") {
        int code = -2;
        EXPECT_FALSE(sync(shell("exec >\"$0\"; " + command), code, directory));
        EXPECT_EQ(code, 0);
        return output();
    }
    static void awaitEnd(pid_t pid) {
        siginfo_t info;
        EXPECT_EQ(waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT), 0);
    }

    zoOS::ProcessManager& manager_ = zoOS::ProcessManager::getInstance();
    const kelvo::test::TemporaryDirectory directory_;
};

TEST_F(Process, ArgumentsArriveByteForByte) {
    const Arguments hard = {"",      " ",     "two words", "'",        "\"",
                            "\\",    "$HOME", "*",         "a\nb",     "--",
                            "-x",    "\t",    "\xFF\xFE",  "\xC3\xB6", ";|",
                            "<&>()", "`",     "",          "",         std::string(70000, 'x')};
    Arguments command = shell("printf '%s\\0' \"$@\" >\"$0\"");
    command.insert(command.end(), hard.begin(), hard.end());
    std::string expected;
    for (const CString& argument : hard) expected += argument.str() + '\0';
    int code = -2;
    ASSERT_FALSE(sync(command, code));
    EXPECT_EQ(output(), expected);
}

TEST_F(Process, ExitCodesAndErrors) {
    for (int wanted : {0, 1, 126, 127, 128, 255}) {
        int code = -2;
        EXPECT_FALSE(sync(shell("exit " + std::to_string(wanted)), code));
        EXPECT_EQ(code, wanted);
    }
    const std::string plain = directory_ / "plain";
    kelvo::test::writeFile(plain, "#!/bin/sh\n");
    const struct {
        const char* what;
        Arguments arguments;
        const char* directory;
        int code;
    } errors[] = {
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
    for (const auto& e : errors) {
        SCOPED_TRACE(e.what);
        int code = -2;
        const zoUtil::Error error = sync(e.arguments, code, e.directory);
        EXPECT_EQ(error.code(), e.code) << error.message();
        EXPECT_FALSE(error.message().isEmpty());
        EXPECT_EQ(code, -1);
        // The end is seen only by those who wait.
        EXPECT_TRUE(e.code >= 128 || async(e.arguments, e.directory).code() == e.code);
    }
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
}

TEST_F(Process, SurroundingsOfTheProgram) {
    const std::string here = fs::current_path().string() + "\n";
    EXPECT_EQ(outputOf("pwd -P"), here);
    EXPECT_EQ(outputOf("pwd -P", "/usr"), "/usr\n");
    EXPECT_EQ(outputOf("pwd -P", "C:\\usr\\"), "/usr\n");
    EXPECT_EQ(fs::current_path().string() + "\n", here);
    // The program's path is mapped, what it is told is not.
    int code = -2;
    EXPECT_FALSE(sync({"C:\\bin\\sh", "-c", "test \"$0\" = 'C:\\x'", "C:\\x"}, code));
    EXPECT_EQ(code, 0);
    EXPECT_FALSE(sync({"bin\\true"}, code, "\\"));
    EXPECT_FALSE(async({"C:\\bin\\true"}, "C:"));
    EXPECT_EQ(async({"C:\\bin\\none"}).code(), ENOENT);

    const int inherited = open("/dev/null", O_RDONLY);  // on purpose without O_CLOEXEC
    sigset_t some, before;
    sigemptyset(&some);
    sigaddset(&some, SIGTERM);
    sigprocmask(SIG_BLOCK, &some, &before);
    const auto handler = std::signal(SIGPIPE, SIG_IGN);
    EXPECT_EQ(outputOf("exec ls /proc/self/fd"), "0\n1\n2\n3\n");  // 3 is what ls reads
    EXPECT_EQ(outputOf("exec sed -n 's/SigBlk:.//p' /proc/self/status"), "0000000000000000\n");
    const std::string ignored = outputOf("exec sed -n 's/SigIgn:.//p' /proc/self/status");
    EXPECT_EQ(std::stoull(ignored, nullptr, 16) >> (SIGPIPE - 1) & 1, 0U);
    std::signal(SIGPIPE, handler);
    sigprocmask(SIG_SETMASK, &before, nullptr);
    close(inherited);
}

TEST_F(Process, LeavesNoFilesOpen) {
    const auto openFiles = [] {
        return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
    };
    const auto before = openFiles();
    for (int i = 0, code = 0; i < 20; ++i) {
        sync({"/bin/true"}, code);
        sync({"/nonexistent"}, code);
        async({"/bin/true"});
    }
    EXPECT_EQ(openFiles(), before);
}

TEST_F(Process, AsyncRunsAloneAndIsCollectedLater) {
    ASSERT_FALSE(
        async(shell("files=$(readlink /proc/$$/fd/[012]); sid=$(ps -o sid= -p $$); "
                    "echo $$ $sid $files >\"$0.new\"; mv \"$0.new\" \"$0\"; exec sleep 60")));
    const std::string text = awaitOutput();
    const std::string pid = text.substr(0, text.find(' '));
    EXPECT_EQ(text, pid + " " + pid + " /dev/null /dev/null /dev/null\n");
    const pid_t id = std::stoi(pid);
    int code = 0;
    EXPECT_FALSE(sync({"/bin/true"}, code));
    EXPECT_EQ(kill(id, SIGKILL), 0) << "a running program is left alone";
    awaitEnd(id);
    EXPECT_FALSE(sync({"/bin/true"}, code));
    EXPECT_EQ(kill(id, 0), -1) << "the ended program has not been collected";
}

TEST_F(Process, OtherChildrenAndSignalsDoNotDisturb) {
    const pid_t other = fork();
    if (other == 0) _exit(7);
    awaitEnd(other);
    struct sigaction action {
    }, before;
    action.sa_handler = [](int) {};  // without SA_RESTART
    sigaction(SIGALRM, &action, &before);
    ualarm(20000, 20000);
    int code = -1, status = 0;
    EXPECT_FALSE(sync(shell("sleep 0.2; exit 3"), code));
    ualarm(0, 0);
    sigaction(SIGALRM, &before, nullptr);
    EXPECT_EQ(code, 3);
    EXPECT_FALSE(async({"/bin/true"}));
    EXPECT_EQ(waitpid(other, &status, 0), other);
    EXPECT_EQ(WEXITSTATUS(status), 7);
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
