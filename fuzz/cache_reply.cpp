// Whatever comes as a reply from the cache server: FileCacheProtocolClient and the framing of
// texts in zoTCP::Socket. The first byte is a number of requests, each of the next bytes one of
// them, and the rest is what the client receives.
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>

#include "Base/zo_tcp.h"
#include "KelvoBase/file_cache_protocol.h"
#include "fuzz/fuzz.h"

namespace {

using kelvo::fuzz::require;
using zoString::CString;
using zoUtil::Error;

constexpr unsigned kMostRequests = 8;
constexpr std::int32_t kLongestText = 64 << 20;

// Gives the bytes, then the end of the stream.
class Line : public zoTCP::Socket {
  public:
    explicit Line(const std::string& bytes) : bytes_(bytes) {}

    Error read(void* buffer, int count, int flags) override {
        require(buffer != nullptr && count >= 0 && flags == 0, "plain reads");
        const std::size_t size = static_cast<std::size_t>(count);
        const std::size_t part = std::min(size, bytes_.size() - next_);
        std::memcpy(buffer, bytes_.data() + next_, part);
        next_ += part;
        return answer(part == size ? Error() : Error(ECONNRESET, "end"));
    }
    Error write(const void* buffer, int count, int flags) override {
        require(buffer != nullptr && count >= 0 && flags == 0, "plain writes");
        return Error();
    }
    std::size_t position() const { return next_; }

  private:
    const std::string& bytes_;  // borrowed
    std::size_t next_ = 0;
};

// The same bytes, read without the library.
class Reference {
  public:
    explicit Reference(const std::string& bytes) : bytes_(bytes) {}

    template <class Number>
    bool number(Number& value) {
        if (bytes_.size() - next_ < sizeof value) return false;
        std::memcpy(&value, bytes_.data() + next_, sizeof value);
        next_ += sizeof value;
        return true;
    }
    bool text(std::string& value) {
        std::int32_t length = 0;
        if (!number(length) || length < 0 || length > kLongestText) return false;
        const std::size_t size = static_cast<std::size_t>(length);
        if (bytes_.size() - next_ < size) return false;
        value = bytes_.substr(next_, size);
        next_ += size;
        return true;
    }
    std::size_t position() const { return next_; }

  private:
    const std::string& bytes_;  // borrowed
    std::size_t next_ = 0;
};

using Client = zoKelvoBase::FileCacheProtocolClient;

// Each makes one request; false when the reply was no whole one.

bool initialize(Client& client, Reference& reply) {
    std::int32_t code = 0;
    std::string message;
    const bool whole = reply.number(code) && reply.text(message);
    const Error error = client.initialize("/cache", 1, 2);
    if (!whole) {
        require(error.code() == ECONNRESET || error.code() == EMSGSIZE, "its failure");
    } else {
        require(error.code() == code, "the code");
        const std::string expected = code == 0 ? "" : message.c_str();
        require(error.message().str() == expected, "the message");
    }
    return whole;
}

bool acquire(Client& client, Reference& reply) {
    std::string path;
    std::int64_t time = 0;
    std::int32_t found = 0;
    const bool whole = reply.text(path) && reply.number(time) && reply.number(found);
    CString gotPath;
    int64 gotTime = 0;
    const bool got = client.acquire("key", gotPath, gotTime);
    require(got == (whole && found != 0), "found only in a whole reply");
    if (whole) require(gotPath.str() == path && gotTime == time, "the path and time");
    return whole;
}

bool answered(bool got, Reference& reply) {
    std::int32_t value = 0;
    const bool whole = reply.number(value);
    require(got == (whole && value != 0), "true only in a whole reply");
    return whole;
}

bool request(unsigned which, Client& client, Reference& reply) {
    std::int32_t ignored = 0;
    switch (which % 5) {
        case 0:
            return initialize(client, reply);
        case 1:
            return acquire(client, reply);
        case 2:
            return answered(client.add("key", "/cache/file"), reply);
        case 3:
            return answered(client.release("key", true), reply);
        default:
            client.setAccessed("key");
            return reply.number(ignored);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    kelvo::fuzz::Input input(data, size);
    const unsigned count = input.byte() % kMostRequests;
    std::string requests(count, '\0'), replies;
    for (char& one : requests) one = static_cast<char>(input.byte());
    while (!input.isEmpty()) replies += static_cast<char>(input.byte());
    Line line(replies);
    Reference reference(replies);
    Client client;
    client.setSocket(line);
    for (const char one : requests) {
        if (!request(static_cast<unsigned char>(one), client, reference)) break;
        require(line.position() == reference.position(), "no byte more than the reply");
    }
    return 0;
}
