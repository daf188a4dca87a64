// The two sources that know the owner of a TCP socket.
#pragma once

#include <cstdint>
#include <iosfwd>

namespace kelvo::zotcp {

/// The two ends of a connection as one of them sees it, all in network byte order; or a listener,
/// which has no remote end, and takes what comes to any of its hosts.
struct Ends {
    std::uint32_t localHost;
    std::uint32_t remoteHost;
    std::uint16_t localPort;
    std::uint16_t remotePort;
    bool listens = false;
};

/// Owner of the socket with exactly these ends that some process has open: established, or the
/// listener that connections to the local end come to. ENOENT when there is none; other error
/// numbers when the kernel does not say.
int askKernel(const Ends& ends, unsigned& user);
/// The same from a table in the format of /proc/net/tcp.
int searchTable(std::istream& table, const Ends& ends, unsigned& user);

}  // namespace kelvo::zotcp
