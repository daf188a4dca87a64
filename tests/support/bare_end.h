// A socket whose other end is a bare descriptor, so that tests see and give the very bytes.
#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstddef>
#include <memory>
#include <string>
#include <utility>

#include "Base/zo_tcp.h"

namespace kelvo::test {

class BareEnd {
  public:
    BareEnd() {
        int ends[2] = {-1, -1};
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        socket = std::make_unique<zoTCP::Socket>(ends[0]);
        bare_ = ends[1];
    }
    ~BareEnd() { hangUp(); }
    BareEnd(const BareEnd&) = delete;
    BareEnd& operator=(const BareEnd&) = delete;

    int descriptor() const { return bare_; }
    void hangUp() {
        if (bare_ >= 0) close(bare_);
        bare_ = -1;
    }
    void put(const std::string& bytes) const {
        EXPECT_EQ(::send(bare_, bytes.data(), bytes.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(bytes.size()));
    }
    /// What has arrived by now.
    std::string arrived() const {
        std::string bytes(1 << 20, '\0');
        const ssize_t size = recv(bare_, bytes.data(), bytes.size(), MSG_DONTWAIT);
        bytes.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
        return bytes;
    }

    std::unique_ptr<zoTCP::Socket> socket;

  private:
    int bare_ = -1;
};

}  // namespace kelvo::test
