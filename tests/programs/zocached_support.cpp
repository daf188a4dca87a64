#include "tests/programs/zocached_support.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <thread>

#include "tests/support/child_process.h"

namespace kelvo::test {
namespace {

std::string readAll(int file) {
    std::string text;
    char buffer[4096];
    for (ssize_t n; (n = read(file, buffer, sizeof buffer)) > 0;)
        text.append(buffer, static_cast<std::size_t>(n));
    close(file);
    return text;
}

}  // namespace

void CacheClient::start(const std::vector<std::string>& options) {
    zoTCP::Server listener(-1, 1);
    listener.setLoopbackOnly();
    ASSERT_FALSE(listener.listen());
    std::vector<std::string> arguments = {"--port", std::to_string(listener.getPort())};
    arguments.insert(arguments.end(), options.begin(), options.end());
    server_ = fork();
    if (server_ == 0) {
        const int nowhere = ::open("/dev/null", O_RDWR);
        for (int standard = 0; standard < 3; ++standard) dup2(nowhere, standard);
        closefrom(3);
        becomeProgram("zocached", arguments);
    }
    zoTCP::Socket* accepted = nullptr;
    ASSERT_FALSE(listener.accept(&accepted, zoUtil::Interval(20)));
    ASSERT_NE(accepted, nullptr);
    socket_.reset(accepted);
    setSocket(*socket_);
}

zoUtil::Error CacheClient::join(const std::string& directory) {
    const int port = std::atoi(contentOf(directory + "/lockfile.lck").c_str());
    auto client =
        std::make_unique<zoTCP::ClientSocket>(zoTCP::Address(zoTCP::Address::localhost, port));
    if (zoUtil::Error error = client->connect()) return error;
    socket_ = std::move(client);
    setSocket(*socket_);
    return {};
}

zoUtil::Error CacheClient::open(const std::string& directory, int entries, int64 bytes,
                                const std::vector<std::string>& options) {
    if (std::filesystem::exists(directory + "/lockfile.lck") && !join(directory))
        return initialize(directory, entries, bytes);
    start(options);
    return initialize(directory, entries, bytes);
}

bool CacheClient::has(const std::string& key) {
    return !pathOf(key).empty();
}

std::string CacheClient::pathOf(const std::string& key) {
    zoString::CString path;
    int64 accessed = 0;
    return acquire(key, path, accessed) ? path.str() : std::string();
}

bool CacheClient::put(const std::string& directory, const std::string& key, std::size_t bytes) {
    writeFile(directory + "/" + key, std::string(bytes, 'x'));
    return add(key, directory + "/" + key);
}

int CacheClient::end(int signal, int seconds) {
    kill(server_, signal);
    return awaitEnd(seconds);
}

int CacheClient::awaitEnd(int seconds) {
    int status = 0;
    return within(seconds, [&] { return waitpid(server_, &status, WNOHANG) == server_; }) ? status
                                                                                          : -1;
}

std::string number(std::int32_t value) {
    return std::string(reinterpret_cast<const char*>(&value), sizeof value);
}

std::string number64(std::int64_t value) {
    return std::string(reinterpret_cast<const char*>(&value), sizeof value);
}

std::string text(const std::string& value) {
    return number(static_cast<std::int32_t>(value.size())) + value;
}

int runTool(const std::vector<std::string>& arguments, std::string& output) {
    int ends[2];
    if (pipe(ends) != 0) return -1;
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDOUT_FILENO);
        dup2(ends[1], STDERR_FILENO);
        closefrom(3);
        becomeProgram("zocached", arguments);
    }
    close(ends[1]);
    output = readAll(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

long long figure(const std::string& directory, const std::string& name) {
    std::string output;
    if (runTool({"--status", directory}, output) != 0) return -1;
    const std::size_t place = ("\n" + output).find("\n" + name + ": ");
    return place == std::string::npos
               ? -1
               : std::atoll(output.c_str() + place + name.size() + std::strlen(": "));
}

std::vector<pid_t> serversMarked(const std::string& mark) {
    std::vector<pid_t> found;
    const std::string wanted = std::string(1, '\0') + "KELVO_TEST_MARK=" + mark + '\0';
    for (const auto& item : std::filesystem::directory_iterator("/proc")) {
        const pid_t pid = std::atoi(item.path().filename().c_str());
        const std::string place = item.path().string();
        std::error_code gone;
        if (pid <= 0 ||
            std::filesystem::read_symlink(place + "/exe", gone).filename() != "zocached" || gone)
            continue;
        const int file = ::open((place + "/environ").c_str(), O_RDONLY | O_CLOEXEC);
        if (file < 0) continue;
        if ((std::string(1, '\0') + readAll(file)).find(wanted) != std::string::npos)
            found.push_back(pid);
    }
    return found;
}

void rest(double seconds) {
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

double secondsNow() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

}  // namespace kelvo::test
