// What zoTCP needs of the system. Everything here works on descriptors and answers with the
// system's error numbers, 0 for success.
#pragma once

#include <cstddef>

#include "libBase/zoTCP/patience.h"

namespace kelvo::zotcp {

/// Receives what is there, at least one byte; waits for it. `received` 0 without an error is the
/// end of the stream.
int receiveSome(int descriptor, char* bytes, std::size_t capacity, std::size_t& received);
/// The same, for as long as `patience` lasts; then ETIMEDOUT.
int receiveSome(int descriptor, char* bytes, std::size_t capacity, std::size_t& received,
                const Patience& patience);

/// Sends at least one byte; waits until the system takes it.
int sendSome(int descriptor, const char* bytes, std::size_t count, std::size_t& sent);
int sendSome(int descriptor, const char* bytes, std::size_t count, std::size_t& sent,
             const Patience& patience);
/// Sends what the system takes at once; nobody hears of failures.
void sendAtOnce(int descriptor, const char* bytes, std::size_t count);

/// Waits for a byte, the end of the stream or a connection; ETIMEDOUT.
int waitForInput(int descriptor, const Patience& patience);

/// Whether the other side has ended the connection.
bool isClosedByPeer(int descriptor);

/// Lets transfers without a `patience` of their own end with ETIMEDOUT after so many seconds
/// without a byte; 0.0: no limit.
int setSilenceLimit(int descriptor, double seconds);

/// Segments leave at once. Nothing on sockets that are none of TCP.
void sendSegmentsAtOnce(int descriptor);

/// Connects to 127.0.0.1.
int connectLoopback(int port, const Patience& patience, int& descriptor);

/// Listens; `port` 0 is replaced by the one that the system has chosen.
int listenOn(int& port, int backlog, bool loopbackOnly, int& descriptor);
/// Takes a connection that waits; EAGAIN when there is none.
int acceptWaiting(int listener, int& descriptor);

/// Owner of the other end of a connection; ENOENT when there is none.
int peerUser(int descriptor, unsigned& user);
/// Owner of the listener that a connection waits at until it is accepted; ENOENT when there is none.
int listenerUser(int descriptor, unsigned& user);
/// The user of this process.
unsigned ownUser();

/// A short rest between two looks at something that the system does not announce.
void rest(std::chrono::microseconds time);

void closeDescriptor(int descriptor);

}  // namespace kelvo::zotcp
