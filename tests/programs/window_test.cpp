// What could break: the window of velaWarning under a real X server, with real keys and clicks: the
// wrong button, an end without a button that counts as one, a display that dies.
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "Base/app.h"
#include "KelvoBase/vl_warning.h"
#include "tests/support/child_process.h"
#include "tests/support/test.h"

namespace {

using Words = std::vector<std::string>;

std::string outputOf(const std::string& command) {
    std::string text;
    FILE* pipe = popen((command + " 2>/dev/null").c_str(), "r");
    for (int c; (c = std::fgetc(pipe)) != EOF;) text += static_cast<char>(c);
    pclose(pipe);
    return text;
}

pid_t spawn(const std::function<void()>& body) {
    const pid_t pid = fork();
    if (pid != 0) return pid;
    alarm(30);  // whatever happens to this test
    body();
    _exit(98);
}

int endOf(pid_t pid) {
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

class Window : public testing::Test {
  protected:
    void SetUp() override {
        for (const char* tool : {"Xvfb", "xdotool"})
            if (outputOf(std::string("command -v ") + tool).empty())
                GTEST_SKIP() << tool << " is not installed";
        if (!std::filesystem::exists(APP_getBinaryPath("velaWarningQt").str()))
            GTEST_SKIP() << "velaWarning was built without Qt";
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        server_ = spawn([&] {
            execlp("Xvfb", "Xvfb", "-displayfd", std::to_string(ends[1]).c_str(), "-screen", "0",
                   "1024x768x24", "-nolisten", "tcp", nullptr);
        });
        pollfd wait = {ends[0], POLLIN, 0};
        char number[16] = {};
        ASSERT_EQ(poll(&wait, 1, 30000), 1);
        ASSERT_GT(read(ends[0], number, sizeof number - 1), 0);
        close(ends[0]);
        close(ends[1]);
        setenv("DISPLAY", (":" + std::to_string(std::atoi(number))).c_str(), 1);
        unsetenv("WAYLAND_DISPLAY");
        setenv("ASAN_OPTIONS", "detect_leaks=0", 1);  // leaks of the toolkit are not ours
    }
    void TearDown() override {
        unsetenv("ASAN_OPTIONS");
        if (server_ <= 0) return;
        unsetenv("DISPLAY");
        kill(server_, SIGTERM);
        endOf(server_);
    }

    // Runs velaWarning without a terminal, so that nothing else can ask.
    pid_t start(const Words& options) {
        return shown(spawn([&] {
            setsid();
            kelvo::test::becomeProgram("velaWarning", options);
        }));
    }
    // Waits for the window. Without a window manager nobody gives it the keys.
    pid_t shown(pid_t pid) {
        window_ = outputOf("timeout 30 xdotool search --sync --onlyvisible --class velaWarningQt");
        window_ = window_.substr(0, window_.find('\n'));
        EXPECT_FALSE(window_.empty()) << "no window";
        outputOf("xdotool windowfocus --sync " + window_);
        return pid;
    }
    std::string geometry() { return outputOf("xdotool getwindowgeometry --shell " + window_); }

    // The details open and close when their button, which its letter holds down for a while, comes
    // up again; a key before that would only lift it.
    void press(const Words& keys) {
        for (const std::string& key : keys) {
            const std::string before = geometry();
            outputOf("xdotool key " + key);
            for (int i = 0; key == kDetails && geometry() == before; ++i, usleep(20000))
                ASSERT_LT(i, 500) << "the details did not move";
        }
    }

    template <class Act>
    int codeOf(const Words& options, Act act) {
        const pid_t pid = start(options);
        act();
        return endOf(pid);
    }

    static constexpr const char* kDetails = "alt+d";
    pid_t server_ = -1;
    std::string window_;
};

TEST_F(Window, KeysAndClicksPressAButton) {
    const Words three = {"-t", "T",    "-s", "?",         "-f", "D",
                         "-b", "Save", "-b", "Sort & go", "-b", "No"};
    const struct {
        const char* what;
        Words keys;
        int code;
    } cases[] = {
        {"the first is the default", {"Return"}, 1},
        {"Tab", {"Tab", "Return"}, 2},
        {"space", {"Tab", "Tab", "space"}, 3},
        {"Alt and the letter of the label", {"alt+n"}, 3},
        {"a letter taken before: the next one", {"alt+o"}, 2},
        {"details open and close", {kDetails, kDetails, "Return"}, 1},
        {"Escape with open details", {kDetails, "Escape"}, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(codeOf(three, [&] { press(c.keys); }), c.code);
    }
    // The buttons stand at the right edge of the last row; the last is the outer one.
    const auto click = [this] {
        outputOf("eval $(xdotool getwindowgeometry --shell " + window_ +
                 ") && xdotool mousemove $((X + WIDTH - 40)) $((Y + HEIGHT - 22)) click 1");
    };
    EXPECT_EQ(codeOf(three, click), 3);
}

TEST_F(Window, VlWarningFromEndToEnd) {
    const pid_t pid = shown(spawn([] {
        _exit(50 + VL_warning(VL_WARN_LINE, "-style", VL_WARN_BUTTON, "-display", VL_WARN_BUTTON,
                              "b", VL_WARN_BUTTON, "c", VL_WARN_END));
    }));
    press({"Tab", "Return"});
    EXPECT_EQ(endOf(pid), 51);
}

TEST_F(Window, ManyButtonsAndLinesFitTheScreen) {
    Words options = {"-f", std::string(100000, 'y')};
    for (int i = 0; i < 400; ++i) options.insert(options.end(), {"-s", std::string(300, 'x')});
    for (int i = 0; i < 125; ++i) options.insert(options.end(), {"-b", "B " + std::to_string(i)});
    const pid_t pid = start(options);
    outputOf(
        "xdotool key alt+d");  // the window is as large as it gets, so there is no knowing when
    usleep(300000);
    const std::string fits = outputOf("eval $(xdotool getwindowgeometry --shell " + window_ +
                                      ") && echo $((WIDTH <= 1024 && HEIGHT <= 768))");
    EXPECT_EQ(fits, "1\n");
    press({"Escape", "Escape"});
    EXPECT_EQ(endOf(pid), 0);
}

TEST_F(Window, LosingTheWindowOrTheDisplayIsNoButton) {
    pid_t pid = start({"-s", "?", "-b", "a", "-b", "b"});
    outputOf("xdotool windowkill " + window_);
    EXPECT_EQ(endOf(pid), 0);
    pid = start({"-s", "?", "-b", "a", "-b", "b"});
    kill(server_, SIGKILL);
    EXPECT_EQ(endOf(pid), 0);
}

TEST_F(Window, GoesWhenVelaWarningIsEnded) {
    const pid_t pid = start({"-s", "?", "-b", "a"});
    kill(pid, SIGTERM);
    EXPECT_EQ(endOf(pid), -SIGTERM);
    std::string left = "?";
    for (int i = 0; i < 100 && !left.empty(); ++i, usleep(50000))
        left = outputOf("xdotool search --onlyvisible --class velaWarningQt");
    EXPECT_EQ(left, "");
}

}  // namespace
