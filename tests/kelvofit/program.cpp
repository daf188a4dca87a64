#include "program.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <set>
#include <thread>

namespace kelvo::test {
namespace {

namespace fs = std::filesystem;

constexpr std::chrono::seconds kLongestRun(120);

// In the child, between fork and exec.
[[noreturn]] void becomeProgram(const std::string& dir, const std::string& out,
                                const std::string& err, const Names& arguments,
                                const Conditions& conditions) {
    std::vector<char*> argv{const_cast<char*>("kelvofit")};
    if (!conditions.cache) argv.push_back(const_cast<char*>("--no-cache"));
    for (const std::string& a : arguments) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    const int outFile = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int errFile = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (chdir(dir.c_str()) != 0 || dup2(outFile, 1) < 0 || dup2(errFile, 2) < 0) _exit(126);
    if (!conditions.leftover.empty())
        close(creat((conditions.leftover + std::to_string(getpid())).c_str(), 0600));
    if (conditions.largestFile > 0) {
        signal(SIGXFSZ, SIG_IGN);  // the write fails instead
        const auto most = static_cast<rlim_t>(conditions.largestFile);
        const rlimit limit{most, most};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    execv(KELVOFIT_PROGRAM, argv.data());
    _exit(127);
}

bool hasTemporary(const std::string& dir) {
    std::error_code gone;  // while we look
    for (fs::recursive_directory_iterator at(dir, gone), end; at != end; at.increment(gone))
        if (at->path().string().find(".tmp") != std::string::npos) return true;
    return false;
}

}  // namespace

Bench::Bench() {
    fs::create_directory(directory());
}

void Bench::write(const std::string& name, const std::string& content) const {
    writeFile(path(name), content);
}

std::string Bench::read(const std::string& name) const {
    return contentOf(path(name));
}

bool Bench::exists(const std::string& name) const {
    return fs::exists(path(name));
}

Names Bench::list(const std::string& dir) const {
    Names names;
    for (const auto& entry : fs::directory_iterator(path(dir)))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

std::string Bench::everything() const {
    std::set<std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(directory()))
        files.insert(entry.path().string() + "\n" +
                     (entry.is_regular_file() ? contentOf(entry.path().string()) : ""));
    std::string all;
    for (const std::string& file : files) all += file + "\n";
    return all;
}

Outcome Bench::run(const Names& arguments, const Conditions& conditions) const {
    const std::string out = place_ / "out.txt", err = place_ / "err.txt";
    fs::remove(err);
    const pid_t child = fork();
    if (child == 0) becomeProgram(directory(), out, err, arguments, conditions);
    const auto end = std::chrono::steady_clock::now() + kLongestRun;
    int status = 0;
    bool interrupted = false;
    while (waitpid(child, &status, WNOHANG) == 0) {
        if (conditions.interrupt && !interrupted && fs::exists(err) && fs::file_size(err) > 0) {
            kill(child, SIGINT);
            interrupted = true;
        }
        if (conditions.endWhileWriting != 0 && !interrupted && hasTemporary(directory())) {
            if (conditions.endWhileWriting == SIGINT) kill(child, SIGINT);
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            kill(child, conditions.endWhileWriting);
            interrupted = true;
        }
        if (std::chrono::steady_clock::now() > end) kill(child, SIGKILL);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contentOf(out), contentOf(err)};
}

Json Bench::fit(const std::string& dir, Names arguments) const {
    arguments.insert(arguments.begin(), {"-q", "-o", dir});
    const Outcome outcome = run(arguments);
    EXPECT_EQ(0, outcome.code) << outcome.err;
    return report(dir);
}

void Bench::expectRefused(const Names& arguments, const std::string& says,
                          const Conditions& conditions) const {
    SCOPED_TRACE(says);
    const std::string before = everything();
    const Outcome outcome = run(arguments, conditions);
    EXPECT_EQ(2, outcome.code);
    EXPECT_EQ("", outcome.out);
    EXPECT_EQ(0U, outcome.err.find("kelvofit: ")) << outcome.err;
    EXPECT_EQ(outcome.err.size() - 1, outcome.err.find('\n')) << outcome.err;
    EXPECT_THAT(outcome.err, testing::HasSubstr(says));
    EXPECT_TRUE(before == everything()) << "files have changed";
}

Json Bench::report(const std::string& dir) const {
    const std::string text = read(dir + "/report.json");
    try {
        return Json::parse(text);
    } catch (const std::exception& fault) {
        ADD_FAILURE() << fault.what() << " in\n" << text;
        return {};
    }
}

std::string waves(int count, double height) {
    std::string text;
    for (int i = 0; i < count; ++i) {
        const double x = std::fmod(i * 0.7548776662, 1.0), y = std::fmod(i * 0.5698402910, 1.0);
        if (std::hypot(x - 0.5, y - 0.5) < 0.2) continue;
        text += std::to_string(x) + " " + std::to_string(y) + " " +
                std::to_string(height * std::sin(9 * x) * std::cos(7 * y)) + "\n";
    }
    return text;
}

}  // namespace kelvo::test
