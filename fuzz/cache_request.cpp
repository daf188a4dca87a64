// Whatever comes as requests to the cache server: where a request ends (frameOf), and the protocol's
// server side reading exactly that. The bytes are what a client sends.
#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include "KelvoBase/file_cache_protocol.h"
#include "fuzz/fuzz.h"
#include "programs/zocached/channel.h"
#include "programs/zocached/request.h"

namespace {

using kelvo::fuzz::require;
using namespace kelvo::zocached;
using zoString::CString;

// Counts the bytes of a request by what the protocol has made of it.
class Counting : public zoKelvoBase::FileCacheProtocolServer {
  public:
    zoUtil::Error initialize(const CString& directory, int, int64) override {
        return count(kInitialize, directory, "", 12), zoUtil::Error(7, "%s", "seven");
    }
    bool acquire(const CString& key, CString& path, int64& time) override {
        path = "path";
        time = -1;
        return count(kAcquire, key, "", 0);
    }
    bool add(const CString& key, const CString& path) override { return count(kAdd, key, path, 4); }
    bool release(const CString& key, bool) override { return count(kRelease, key, "", 4); }
    void setAccessed(const CString& key) override { count(kSetAccessed, key, "", 0); }

    int opcode = -1;
    std::size_t size = 4;

  private:
    // `rest`: what follows the first text beside the second one.
    bool count(int request, const CString& first, const CString& second, std::size_t rest) {
        require(first.length() <= kLongestText && second.length() <= kLongestText, "short texts");
        opcode = request;
        size = 4 + 4 + first.length() + second.length() + rest;
        return true;
    }
};

// No front part of a request may be taken for the whole.
void tryCuts(std::string_view request) {
    for (std::size_t cut = 0; cut < request.size(); cut += 1 + request.size() / 16)
        require(frameOf(request.substr(0, cut)).kind == Frame::kPartial, "a part is no request");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    Channel channel(nullptr, bytes);
    for (;;) {
        const std::string before(channel.pending());
        const Frame frame = channel.frame();
        if (frame.kind == Frame::kPartial || frame.kind == Frame::kMalformed) return 0;
        require(frame.size >= 4 && frame.size <= before.size(), "a frame is inside");
        Counting server;
        server.setSocket(channel);
        server.readRequest();
        require(before.size() - channel.pending().size() == frame.size, "a frame is what is read");
        require(server.size == frame.size, "and what the fields take");
        require(frame.kind == Frame::kWhole ? server.opcode == frame.opcode : server.opcode == -1,
                "the opcode");
        require(channel.hasOutput() == (frame.kind == Frame::kWhole), "each request has a reply");
        channel.discardOutput();
        tryCuts(std::string_view(before).substr(0, frame.size));
    }
}
