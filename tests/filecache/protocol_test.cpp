// What could break: bytes other than those that docs/cache-protocol.md shows, replies in pieces,
// exceptions that reach the application, a half-sent request that the next one completes, replies
// that are cut short or nonsense.
#include "KelvoBase/file_cache_protocol.h"

#include <fstream>

#include "tests/support/bare_end.h"
#include "tests/support/test.h"

namespace {

using kelvo::test::BareEnd;
using zoKelvoBase::FileCacheProtocolClient;
using zoKelvoBase::FileCacheProtocolServer;
using zoString::CString;
using zoUtil::Error;
using namespace std::string_literals;

struct Exchange {
    std::string request, reply;
};

// The worked exchange of the page.
std::vector<Exchange> documented() {
    std::vector<Exchange> result;
    std::ifstream page(KELVO_DOCS "/cache-protocol.md");
    std::string line;
    while (std::getline(page, line)) {
        if (line.size() < 4 || (line[0] != '>' && line[0] != '<')) continue;
        if (line[0] == '>') result.emplace_back();
        std::string& bytes = line[0] == '>' ? result.back().request : result.back().reply;
        std::istringstream numbers(line.substr(1));
        numbers >> std::hex;
        for (int byte; numbers >> byte;) bytes += static_cast<char>(byte);
    }
    return result;
}

// Answers as the page does, and writes down what it was asked.
class Recorder : public FileCacheProtocolServer {
  public:
    Error initialize(const CString& directory, int arg1, int64 arg2) override {
        log << "initialize " << directory << ' ' << arg1 << ' ' << arg2;
        return directory == "/c" ? Error() : Error(13, "no");
    }
    bool acquire(const CString& key, CString& path, int64& accessTime) override {
        log << "acquire " << key;
        EXPECT_TRUE(path.isEmpty());
        if (entered) path = "/c/f";
        accessTime = entered ? 1700000000 : 0;
        return entered;
    }
    bool add(const CString& key, const CString& path) override {
        log << "add " << key << ' ' << path;
        return entered = true;
    }
    bool release(const CString& key, bool remove) override {
        log << "release " << key << ' ' << remove;
        return true;
    }
    void setAccessed(const CString& key) override { log << "setAccessed " << key; }

    std::string told() {
        const std::string text = log.str();
        log.str("");
        return text;
    }

    std::ostringstream log;
    bool entered = false;
};

// The requests of the page, in its order: made by the client, and as the server tells them.
// The result is a text, so that all compare alike.
struct Request {
    std::function<std::string(FileCacheProtocolClient&)> make;
    std::string result, failure, told;
};

std::string inWords(const Error& error) {
    return std::to_string(error.code()) + ' ' + error.message().str();
}

std::vector<Request> requests() {
    const auto acquire = [](FileCacheProtocolClient& client) {
        CString path("before");
        int64 time = -1;
        if (!client.acquire("k1", path, time)) return std::string("false");
        return path.str() + ' ' + std::to_string(time);
    };
    const auto text = [](bool value) { return std::string(value ? "true" : "false"); };
    const auto initialize = [](const char* directory, int arg1, int64 arg2) {
        return [=](FileCacheProtocolClient& client) {
            return inWords(client.initialize(directory, arg1, arg2));
        };
    };
    return {
        {initialize("/c", 100, 1 << 30), "0 ", "error", "initialize /c 100 1073741824"},
        {acquire, "false", "false", "acquire k1"},
        {[=](auto& c) { return text(c.add("k1", "/c/f")); }, "true", "false", "add k1 /c/f"},
        {acquire, "/c/f 1700000000", "false", "acquire k1"},
        {[=](auto& c) { return c.setAccessed("k1"), ""; }, "", "", "setAccessed k1"},
        {[=](auto& c) { return text(c.release("k1", true)); }, "true", "false", "release k1 1"},
        {initialize("/d", 0, -1), "13 no", "error", "initialize /d 0 -1"},
    };
}

TEST(CacheProtocol, SpeaksTheDocumentedBytes) {
    const std::vector<Exchange> page = documented();
    const std::vector<Request> all = requests();
    ASSERT_EQ(page.size(), all.size());
    BareEnd server, client;
    FileCacheProtocolClient protocol;
    protocol.setSocket(*client.socket);
    Recorder recorder;
    recorder.setSocket(*server.socket);
    for (std::size_t i = 0; i < page.size(); ++i) {
        SCOPED_TRACE(all[i].told);
        client.put(page[i].reply);
        EXPECT_EQ(all[i].make(protocol), all[i].result);
        EXPECT_TRUE(client.arrived() == page[i].request);
        server.put(page[i].request);
        recorder.readRequest();
        EXPECT_EQ(recorder.told(), all[i].told);
        EXPECT_TRUE(server.arrived() == page[i].reply);
        EXPECT_FALSE(server.socket->hasInput() || client.socket->hasInput());
    }
}

// Both ends may lose the other anywhere.
TEST(CacheProtocol, CutShortAtEveryByte) {
    const std::vector<Exchange> page = documented();
    const std::vector<Request> all = requests();
    ASSERT_EQ(page.size(), all.size());
    for (std::size_t i = 0; i < page.size(); ++i) {
        SCOPED_TRACE(all[i].told);
        for (std::size_t cut = 0; cut < page[i].reply.size(); ++cut) {
            BareEnd end;
            FileCacheProtocolClient protocol;
            protocol.setSocket(*end.socket);
            end.put(page[i].reply.substr(0, cut));
            shutdown(end.descriptor(), SHUT_WR);
            const std::string expected =
                all[i].failure == "error"
                    ? std::to_string(ECONNRESET) + " the other side has closed the connection"
                    : all[i].failure;
            EXPECT_EQ(all[i].make(protocol), expected) << cut;
        }
        for (std::size_t cut = 0; cut < page[i].request.size(); ++cut) {
            BareEnd end;
            Recorder recorder;
            recorder.setSocket(*end.socket);
            end.put(page[i].request.substr(0, cut));
            shutdown(end.descriptor(), SHUT_WR);
            EXPECT_THROW(recorder.readRequest(), Error) << cut;
            EXPECT_EQ(recorder.told() + end.arrived(), "") << cut;
        }
    }
}

std::string number(std::int32_t value) {
    return std::string(reinterpret_cast<const char*>(&value), sizeof value);
}

TEST(CacheProtocol, BoolsOddNumbersAndErrors) {
    for (const int value : {0, 1, 2, -1, 0x100, std::numeric_limits<int>::min()}) {
        BareEnd end;
        FileCacheProtocolClient client;
        client.setSocket(*end.socket);
        end.put(number(value));
        EXPECT_EQ(client.release("k", false), value != 0) << value;
        end.put(number(value));  // the answer to setAccessed means nothing
        client.setAccessed("k");
        end.put("\1\0\0\0"s + "p" + number(7) + number(0) + number(value));
        CString path;
        int64 time = 0;
        EXPECT_EQ(client.acquire("k", path, time), value != 0) << value;
        EXPECT_EQ(path.str() + std::to_string(time), "p7");  // taken with either answer
        Recorder recorder;
        recorder.setSocket(*end.socket);
        end.put(number(3) + number(1) + "k" + number(value));
        recorder.readRequest();
        EXPECT_EQ(recorder.told(), value != 0 ? "release k 1" : "release k 0");
    }
    for (const int opcode : {5, -1, std::numeric_limits<int>::max()}) {
        BareEnd end;
        Recorder recorder;
        recorder.setSocket(*end.socket);
        end.put(number(opcode) + number(4) + number(1) + "k");
        recorder.readRequest();
        EXPECT_EQ(recorder.told() + end.arrived(), "") << opcode;
        recorder.readRequest();
        EXPECT_EQ(recorder.told(), "setAccessed k");
        EXPECT_EQ(end.arrived(), number(0));
    }
    const struct {
        std::string reply;
        int code;
        const char* message;
    } errors[] = {{number(0) + number(3) + "why", 0, ""},
                  {number(-7) + number(6) + "%s%n%d", -7, "%s%n%d"},
                  {number(5) + number(0), 5, ""},
                  {number(5) + number(-1), EMSGSIZE,
                   "a text of -1 bytes is not between 0 and "
                   "67108864"}};
    for (const auto& e : errors) {
        BareEnd end;
        FileCacheProtocolClient client;
        client.setSocket(*end.socket);
        end.put(e.reply);
        const Error error = client.initialize("/c", 0, 0);
        EXPECT_EQ(error.code(), e.code);
        EXPECT_EQ(error.message().str(), e.message);
    }
}

TEST(CacheProtocol, WithoutAConnection) {
    FileCacheProtocolClient client;
    for (const Request& request : requests()) {
        const std::string result = request.make(client);
        if (request.failure == "error")
            EXPECT_EQ(std::stoi(result), ENOTCONN);
        else
            EXPECT_EQ(result, request.failure);
    }
    EXPECT_THROW(Recorder().readRequest(), Error);
}

// A socket that carries bytes in its own way, and fails in any.
class OwnSocket : public zoTCP::Socket {
  public:
    using Socket::read;
    using Socket::write;
    Error read(void*, int, int) override {
        if (fault == 1) throw std::runtime_error("no line");
        if (fault == 2) throw std::bad_alloc();
        return answer(Error(5, "no line"));
    }
    Error write(const void*, int count, int) override {
        written += count;
        return Error();
    }
    int fault = 0;
    int written = 0;
};

TEST(CacheProtocol, WhateverTheSocketThrows) {
    for (int fault : {0, 1, 2})
        for (const Request& request : requests()) {
            OwnSocket socket;
            FileCacheProtocolClient client;
            client.setSocket(socket);
            socket.fault = fault;
            const std::string result = request.make(client);
            if (request.failure == "error")
                EXPECT_EQ(result, fault == 2   ? std::to_string(ENOMEM) + " std::bad_alloc"
                                  : fault == 1 ? std::to_string(ENOMEM) + " no line"
                                               : "5 no line");
            else
                EXPECT_EQ(result, request.failure);
            EXPECT_GT(socket.written, 0);
        }
}

TEST(CacheProtocol, TooLongTextsAreNotBegun) {
    BareEnd end;
    FileCacheProtocolClient client;
    client.setSocket(*end.socket);
    const CString giant(std::string((64 << 20) + 1, 'x'));
    CString path;
    int64 time = 0;
    EXPECT_FALSE(client.acquire(giant, path, time));
    EXPECT_FALSE(client.add("k", giant));
    EXPECT_EQ(client.initialize(giant, 1, 1).code(), EMSGSIZE);
    end.put(number(1));
    EXPECT_TRUE(client.release("k", false));
    EXPECT_EQ(end.arrived(), number(3) + number(1) + "k" + number(0));
}

}  // namespace
