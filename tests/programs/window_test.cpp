// What could break: the window of velaWarning under a real X server, with real keys and clicks: the
// wrong button, an end without a button that counts as one, a display that dies.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "Base/app.h"
#include "KelvoBase/vl_warning.h"

namespace {

using Words = std::vector<std::string>;
using Run = std::function<int()>;

std::string outputOf(const std::string& command) {
    std::string text;
    FILE* pipe = popen((command + " 2>/dev/null").c_str(), "r");
    for (int c; pipe != nullptr && (c = std::fgetc(pipe)) != EOF;) text += static_cast<char>(c);
    if (pipe != nullptr) pclose(pipe);
    return text;
}

// Ends with the process that started it, whatever happens to that one.
pid_t spawn(const std::function<void()>& body) {
    const pid_t pid = fork();
    if (pid == 0) {
        alarm(120);
        body();
        _exit(98);
    }
    return pid;
}

int endOf(pid_t pid) {
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

class Window : public testing::Test {
  protected:
    void SetUp() override {
        for (const char* tool : {"Xvfb", "xdotool", "xwininfo"})
            if (outputOf(std::string("command -v ") + tool).empty())
                GTEST_SKIP() << tool << " is not installed";
        if (!std::filesystem::exists(APP_getBinaryPath("velaWarningQt").str()))
            GTEST_SKIP() << "velaWarning was built without Qt";
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        server_ = spawn([&] {
            const int null = open("/dev/null", O_RDWR);
            dup2(null, STDERR_FILENO);
            execlp("Xvfb", "Xvfb", "-displayfd", std::to_string(ends[1]).c_str(), "-screen", "0",
                   "1024x768x24", "-nolisten", "tcp", nullptr);
        });
        close(ends[1]);
        pollfd wait = {ends[0], POLLIN, 0};
        char number[16] = {};
        ASSERT_EQ(poll(&wait, 1, 30000), 1);
        ASSERT_GT(read(ends[0], number, sizeof number - 1), 0);
        close(ends[0]);
        setenv("DISPLAY", (":" + std::to_string(std::atoi(number))).c_str(), 1);
        unsetenv("WAYLAND_DISPLAY");
        setenv("ASAN_OPTIONS", "detect_leaks=0", 1);  // leaks of the toolkit are not ours
    }
    void TearDown() override {
        unsetenv("DISPLAY");
        unsetenv("ASAN_OPTIONS");
        if (server_ > 0) kill(server_, SIGTERM);
        if (server_ > 0) endOf(server_);
    }

    // Runs velaWarning without a terminal, so that nothing else can ask.
    pid_t start(const Words& options) {
        const std::string path = APP_getBinaryPath("velaWarning").str();
        std::vector<char*> words = {const_cast<char*>(path.c_str())};
        for (const std::string& option : options)
            words.push_back(const_cast<char*>(option.c_str()));
        words.push_back(nullptr);
        const pid_t pid = spawn([&] {
            setsid();
            execv(words[0], words.data());
        });
        awaitWindow();
        return pid;
    }
    // Without a window manager nobody gives the window the keys.
    void awaitWindow() {
        window_ = outputOf("timeout 30 xdotool search --sync --onlyvisible --class velaWarningQt");
        window_ = window_.substr(0, window_.find('\n'));
        ASSERT_FALSE(window_.empty()) << "no window";
        outputOf("xdotool windowfocus --sync " + window_);
        usleep(200000);
    }
    // A button that is pressed by its letter stays down for 0.1 s, and Escape then only lifts it.
    static void press(const std::string& keys) { outputOf("xdotool key --delay 200 " + keys); }

    pid_t server_ = -1;
    std::string window_;
};

TEST_F(Window, KeysPressAButton) {
    const Words three = {"-t", "T",    "-s", "?",         "-f", "D",
                         "-b", "Save", "-b", "Sort & go", "-b", "No"};
    const struct {
        const char *what, *keys;
        int code;
    } cases[] = {
        {"the first is the default", "Return", 1},
        {"space", "space", 1},
        {"Tab", "Tab Return", 2},
        {"cursor key", "Tab Tab space", 3},
        {"Alt and the letter of the label", "alt+n", 3},
        {"a letter taken before goes to the next", "alt+o", 2},
        {"details open and close", "alt+d alt+d Return", 1},
        {"Escape", "Escape", 0},
        {"Escape with open details", "alt+d Escape", 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const pid_t pid = start(three);
        press(c.keys);
        EXPECT_EQ(endOf(pid), c.code);
    }
}

TEST_F(Window, AClickPressesAButton) {
    const pid_t pid = start({"-s", "?", "-b", "First", "-b", "Second"});
    // The buttons stand at the right edge of the last row; the second is the outer one.
    outputOf("eval $(xdotool getwindowgeometry --shell " + window_ +
             ") && xdotool mousemove $((X + WIDTH - 40)) $((Y + HEIGHT - 22)) click 1");
    EXPECT_EQ(endOf(pid), 2);
}

TEST_F(Window, VlWarningFromEndToEnd) {
    const pid_t pid = spawn([] {
        _exit(50 + VL_warning(VL_WARN_LINE, "-style", VL_WARN_BUTTON, "-display", VL_WARN_BUTTON,
                              "b", VL_WARN_BUTTON, "c", VL_WARN_END));
    });
    awaitWindow();
    press("Tab Return");
    EXPECT_EQ(endOf(pid), 51);
}

TEST_F(Window, ManyButtonsAndLinesFitTheScreen) {
    Words options;
    for (int i = 0; i < 400; ++i) options.insert(options.end(), {"-s", std::string(300, 'x')});
    for (int i = 0; i < 125; ++i)
        options.insert(options.end(), {"-b", "Button " + std::to_string(i)});
    options.insert(options.end(), {"-f", std::string(100000, 'y')});
    const pid_t pid = start(options);
    press("alt+d");
    const std::string info = outputOf("xwininfo -id " + window_);
    int width = 0, height = 0;
    ASSERT_NE(info.find("Width:"), std::string::npos);
    std::sscanf(info.c_str() + info.find("Width:"), "Width: %d\n  Height: %d", &width, &height);
    EXPECT_LE(width, 1024);
    EXPECT_LE(height, 768);
    press("Escape");
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
