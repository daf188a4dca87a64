#include "program.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <sstream>
#include <thread>

namespace kelvo::test {
namespace {

namespace fs = std::filesystem;

std::string contentOf(const fs::path& path) {
    std::ostringstream content;
    std::ifstream in(path, std::ios::binary);
    if (in.peek() != std::ifstream::traits_type::eof()) content << in.rdbuf();
    return content.str();
}

// In the child, between fork and exec.
[[noreturn]] void becomeProgram(const fs::path& dir, const fs::path& out, const fs::path& err,
                                const std::vector<std::string>& arguments,
                                const Conditions& conditions) {
    std::vector<char*> argv{const_cast<char*>("kelvofit")};
    if (!conditions.cache) argv.push_back(const_cast<char*>("--no-cache"));
    for (const std::string& a : arguments) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    const int outFile = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int errFile = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (chdir(dir.c_str()) != 0 || dup2(outFile, 1) < 0 || dup2(errFile, 2) < 0) _exit(126);
    if (conditions.largestFile > 0) {
        signal(SIGXFSZ, SIG_IGN);  // the write fails instead
        const auto most = static_cast<rlim_t>(conditions.largestFile);
        const rlimit limit{most, most};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    execv(KELVOFIT_PROGRAM, argv.data());
    _exit(127);
}

}  // namespace

Bench::Bench() {
    std::string name = (fs::temp_directory_path() / "kelvofit-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary directory");
    dir_ = name;
    fs::create_directory(dir_ / "work");
}

Bench::~Bench() {
    std::error_code ignored;
    fs::remove_all(dir_, ignored);
}

void Bench::write(const std::string& name, const std::string& content) const {
    std::ofstream(dir_ / "work" / name, std::ios::binary) << content;
}

std::string Bench::read(const std::string& name) const {
    return contentOf(dir_ / "work" / name);
}

bool Bench::exists(const std::string& name) const {
    return fs::exists(dir_ / "work" / name);
}

std::vector<std::string> Bench::list(const std::string& dir) const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(dir_ / "work" / dir))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

Outcome Bench::run(const std::vector<std::string>& arguments, const Conditions& conditions) const {
    const fs::path out = dir_ / "out.txt", err = dir_ / "err.txt";
    fs::remove(err);
    const pid_t child = fork();
    if (child == 0) becomeProgram(dir_ / "work", out, err, arguments, conditions);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(conditions.seconds);
    int status = 0;
    bool interrupted = false;
    while (waitpid(child, &status, WNOHANG) == 0) {
        if (conditions.interrupt && !interrupted && fs::exists(err) && fs::file_size(err) > 0) {
            kill(child, SIGINT);
            interrupted = true;
        }
        if (std::chrono::steady_clock::now() > end) kill(child, SIGKILL);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contentOf(out), contentOf(err)};
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

}  // namespace kelvo::test
