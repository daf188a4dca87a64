// Both sides of the language, so that they cannot differ.
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <exception>

#include "KelvoBase/file_cache_protocol.h"

using zoString::CString;
using zoUtil::Error;

namespace zoKelvoBase {
namespace {

// Begins each request.
enum Request : std::int32_t {
    kInitialize = 0,
    kAcquire = 1,
    kAdd = 2,
    kRelease = 3,
    kSetAccessed = 4,
};

// In throwing mode what a transfer returns says nothing.
template <class Value>
void send(zoTCP::Socket& socket, Value value) {
    socket.write(&value, sizeof value, 0);
}

template <class Value>
Value receive(zoTCP::Socket& socket) {
    Value value = 0;
    socket.read(&value, sizeof value, 0);
    return value;
}

// What `exchange` throws becomes false.
template <class Exchange>
bool succeeds(Exchange exchange) {
    try {
        return exchange();
    } catch (const Error&) {
    } catch (const std::exception&) {
    }
    return false;
}

}  // namespace

const char* const FileCacheProtocol::LockFileName = "lockfile.lck";

FileCacheProtocol::~FileCacheProtocol() = default;
FileCacheProtocolClient::~FileCacheProtocolClient() = default;
FileCacheProtocolServer::~FileCacheProtocolServer() = default;

void FileCacheProtocol::setSocket(zoTCP::Socket& socket) {
    socket_ = &socket;
    socket.setThrowMode(true);
}

zoTCP::Socket& FileCacheProtocol::socket() const {
    if (socket_ == nullptr) throw Error(ENOTCONN, "no connection: %s", std::strerror(ENOTCONN));
    return *socket_;
}

void FileCacheProtocol::sendBool(bool value) {
    sendInt(value ? 1 : 0);
}

bool FileCacheProtocol::recvBool() {
    return recvInt() != 0;
}

void FileCacheProtocol::sendInt(int value) {
    send<std::int32_t>(socket(), value);
}

int FileCacheProtocol::recvInt() {
    return receive<std::int32_t>(socket());
}

void FileCacheProtocol::sendInt64(int64 value) {
    send<std::int64_t>(socket(), value);
}

int64 FileCacheProtocol::recvInt64() {
    return receive<std::int64_t>(socket());
}

void FileCacheProtocol::sendString(const CString& text) {
    socket().write(text);
}

CString FileCacheProtocol::recvString() {
    CString text;
    socket().read(text);
    return text;
}

void FileCacheProtocol::sendError(const Error& error) {
    sendInt(error.code());
    sendString(error.message());
}

Error FileCacheProtocol::recvError() {
    const int code = recvInt();
    const CString message = recvString();
    return code == 0 ? Error() : Error(code, "%s", message.c_str());
}

void FileCacheProtocol::flush() {
    socket().flush();
}

void FileCacheProtocolClient::begin(int request, std::initializer_list<const CString*> texts) {
    for (const CString* text : texts)
        if (text->length() > static_cast<unsigned>(zoTCP::Socket::kLongestText))
            throw Error(EMSGSIZE, "a text of %u bytes is too long", text->length());
    sendInt(request);
    for (const CString* text : texts) sendString(*text);
}

Error FileCacheProtocolClient::initialize(const CString& directory, int arg1, int64 arg2) {
    try {
        begin(kInitialize, {&directory});
        sendInt(arg1);
        sendInt64(arg2);
        return recvError();
    } catch (const Error& error) {
        return error;
    } catch (const std::exception& error) {
        return Error(ENOMEM, "%s", error.what());
    }
}

bool FileCacheProtocolClient::acquire(const CString& key, CString& path, int64& accessTime) {
    return succeeds([&] {
        begin(kAcquire, {&key});
        path = recvString();
        accessTime = recvInt64();
        return recvBool();
    });
}

bool FileCacheProtocolClient::add(const CString& key, const CString& path) {
    return succeeds([&] {
        begin(kAdd, {&key, &path});
        return recvBool();
    });
}

bool FileCacheProtocolClient::release(const CString& key, bool remove) {
    return succeeds([&] {
        begin(kRelease, {&key});
        sendBool(remove);
        return recvBool();
    });
}

void FileCacheProtocolClient::setAccessed(const CString& key) {
    succeeds([&] {
        begin(kSetAccessed, {&key});
        recvInt();
        return true;
    });
}

void FileCacheProtocolServer::readRequest() {
    switch (recvInt()) {
        case kInitialize: {
            const CString directory = recvString();
            const int arg1 = recvInt();
            const int64 arg2 = recvInt64();
            sendError(initialize(directory, arg1, arg2));
            break;
        }
        case kAcquire: {
            const CString key = recvString();
            CString path;
            int64 accessTime = 0;
            const bool found = acquire(key, path, accessTime);
            sendString(path);
            sendInt64(accessTime);
            sendBool(found);
            break;
        }
        case kAdd: {
            const CString key = recvString();
            const CString path = recvString();
            sendBool(add(key, path));
            break;
        }
        case kRelease: {
            const CString key = recvString();
            const bool remove = recvBool();
            sendBool(release(key, remove));
            break;
        }
        case kSetAccessed:
            setAccessed(recvString());
            sendInt(0);
            break;
        default:
            return;
    }
    flush();
}

}  // namespace zoKelvoBase
