// A cache server that behaves as FAKE_ZOCACHED says, and writes into FAKE_ZOCACHED_LOG how it was
// started: serve, exit, sleep, hang up, silent, garbage, stranger (serves as another user).
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <string>

#include "KelvoBase/file_cache_protocol.h"

namespace {

using zoString::CString;

constexpr unsigned kNobody = 65534;
constexpr unsigned kLongestLife = 20;  // seconds

class Server : public zoKelvoBase::FileCacheProtocolServer {
    zoUtil::Error initialize(const CString&, int, int64) override { return zoUtil::Error(); }
    bool acquire(const CString& key, CString& path, int64&) override {
        path = index_[key.str()].c_str();
        return !path.isEmpty();
    }
    bool add(const CString& key, const CString& path) override {
        index_[key.str()] = path.str();
        return true;
    }
    bool release(const CString&, bool) override { return true; }
    void setAccessed(const CString&) override {}

    std::map<std::string, std::string> index_;
};

}  // namespace

int main(int argc, char** argv) {
    alarm(kLongestLife);
    const char* variable = std::getenv("FAKE_ZOCACHED");
    const std::string mode = variable ? variable : "serve";
    std::ofstream log(std::getenv("FAKE_ZOCACHED_LOG"), std::ios::app);
    for (int i = 1; i < argc; ++i) log << argv[i] << (i + 1 < argc ? ' ' : '\n');
    log.close();
    if (argc != 3 || mode == "exit") return 3;
    if (mode == "stranger" && setresuid(kNobody, kNobody, kNobody) != 0) return 3;
    if (mode == "sleep") pause();
    zoTCP::ClientSocket socket(zoTCP::Address(zoTCP::Address::localhost, std::atoi(argv[2])));
    if (socket.connect()) return 3;
    bool asked = false;
    if (mode == "hang up") return socket.waitForInput(zoUtil::Interval(0.0), asked) ? 3 : 0;
    if (mode == "silent") pause();
    if (mode == "garbage") {
        socket.write("HTTP/1.1 400 Bad Request\r\n\r\n", 28, 0);
        socket.flush();
        pause();
    }
    Server server;
    server.setSocket(socket);
    try {
        for (;;) server.readRequest();
    } catch (const zoUtil::Error&) {
    }
}
