// The two sources that know the owner of a TCP connection's end.
#pragma once

#include <cstdint>
#include <iosfwd>

namespace kelvo::zotcp {

/// The two ends of a connection as one of them sees it, all in network byte order.
struct Ends {
    std::uint32_t localHost;
    std::uint32_t remoteHost;
    std::uint16_t localPort;
    std::uint16_t remotePort;
};

/// Owner of the established socket with exactly these ends that some process has open. ENOENT
/// when there is none; other error numbers when the kernel does not say.
int askKernel(const Ends& ends, unsigned& user);
/// The same from a table in the format of /proc/net/tcp.
int searchTable(std::istream& table, const Ends& ends, unsigned& user);

}  // namespace kelvo::zotcp
