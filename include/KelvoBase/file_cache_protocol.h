// The language between the file cache and its server program. Both sides are built from this one
// definition; docs/cache-protocol.md gives the bytes.
//   1. The client sends one request and reads its reply before it sends the next.
//   2. A connection begins with initialize(), which names the cache directory.
//   3. Transfers run in the socket's throwing mode. The client turns what is thrown into failure
//      values; the server side lets it pass to the program's loop, which ends the connection.
// One thread a connection.
#pragma once

#include <initializer_list>

#include "Base/zo_string.h"
#include "Base/zo_tcp.h"
#include "Base/zo_util.h"
#include "KelvoBase/kelvo_api.h"

namespace zoKelvoBase {

/// The requests, and how values travel.
class KELVO_API FileCacheProtocol {
  public:
    /// Name of the file in the cache directory that holds the port of the running server as decimal
    /// text: "lockfile.lck".
    static const char* const LockFileName;

    FileCacheProtocol() = default;
    virtual ~FileCacheProtocol();

    /// Names the directory and the limits of its index: the most entries and the most bytes, 0 or
    /// less for no limit.
    virtual zoUtil::Error initialize(const zoString::CString& directory, int arg1, int64 arg2) = 0;
    /// Finds and holds the entry of `key`. True when there is one: `path` is its file then,
    /// `accessTime` when it was last used, in seconds since 1970-01-01 UTC.
    virtual bool acquire(const zoString::CString& key, zoString::CString& path,
                         int64& accessTime) = 0;
    /// Enters the file `path` under `key` and holds the entry. True when it was accepted.
    virtual bool add(const zoString::CString& key, const zoString::CString& path) = 0;
    /// Ends a hold; with `remove` the entry and its file go once nobody holds it.
    virtual bool release(const zoString::CString& key, bool remove) = 0;
    /// Says that the entry has been used now.
    virtual void setAccessed(const zoString::CString& key) = 0;

    /// The connection to use from now on, borrowed; it is put into throwing mode. Before the first
    /// call every transfer fails with ENOTCONN.
    void setSocket(zoTCP::Socket& socket);

  protected:
    // Each of these throws a zoUtil::Error when the transfer fails. What is sent is collected in
    // the socket and leaves as one segment, before the next value is received at the latest.

    /// A signed 32-bit number, 1 or 0; any other than 0 is received as true.
    void sendBool(bool value);
    bool recvBool();
    /// A signed 32-bit number.
    void sendInt(int value);
    int recvInt();
    /// A signed 64-bit number.
    void sendInt64(int64 value);
    int64 recvInt64();
    /// A text in the framing of zoTCP::Socket.
    void sendString(const zoString::CString& text);
    zoString::CString recvString();
    /// The code, then the message. A code of 0 is received as no error, whatever the message says.
    void sendError(const zoUtil::Error& error);
    zoUtil::Error recvError();
    /// Lets leave what has been sent.
    void flush();

  private:
    zoTCP::Socket& socket() const;

    zoTCP::Socket* socket_ = nullptr;  // borrowed
};

/// The client's side: each operation sends its request and reads the reply. None of them throws; a
/// connection that fails, or replies nonsense, makes initialize return the error and the others
/// return false.
class KELVO_API FileCacheProtocolClient : public FileCacheProtocol {
  public:
    ~FileCacheProtocolClient() override;

    zoUtil::Error initialize(const zoString::CString& directory, int arg1, int64 arg2) override;
    /// `path` and `accessTime` take what is received, also with the answer false.
    bool acquire(const zoString::CString& key, zoString::CString& path, int64& accessTime) override;
    bool add(const zoString::CString& key, const zoString::CString& path) override;
    bool release(const zoString::CString& key, bool remove) override;
    void setAccessed(const zoString::CString& key) override;

  private:
    // Sends the opcode and the texts, or nothing when one of them is too long to be sent: a request
    // that breaks off would be completed by the next one.
    void begin(int opcode, std::initializer_list<const zoString::CString*> texts);
};

/// The server's side: the program derives from it and implements the requests.
class KELVO_API FileCacheProtocolServer : public FileCacheProtocol {
  public:
    ~FileCacheProtocolServer() override;

    /// Reads one request, calls the operation of that name, sends its result and flushes it. A
    /// number that is no request is dropped without a reply: the next call takes the four bytes
    /// after it for the next request. Throws what a transfer or an operation throws; the connection
    /// is of no use then.
    void readRequest();
};

}  // namespace zoKelvoBase
