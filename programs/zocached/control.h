// The local socket in the cache directory: where a server that finds another one running hands its
// client over, and where the figures are asked for. Only this user reaches it.
#pragma once

#include <string>
#include <string_view>

#include "programs/zocached/directory.h"

namespace kelvo::zocached {

/// Listens on the socket, in place of one that a killed server has left. For the one that holds
/// the guard.
zoUtil::Error openControl(const Directory& directory, Descriptor& listener);
/// Whether a socket has its name.
bool isControlThere(const Directory& directory);

struct Order {
    enum Kind { kNone, kAdopt, kTell };
    Kind kind = kNone;
    Descriptor client;     ///< of kAdopt: the connection of a client
    Descriptor directory;  ///< of kAdopt: the directory that the client means
    std::string received;  ///< of kAdopt: what the client has sent
};

/// Takes the order that has arrived; kNone when the other side talks nonsense or is another user.
Order receiveOrder(int control);
/// Answers; false when the other side has stopped to wait.
bool answerOrder(int control, std::string_view text);
/// Says that the client has been taken over. False: it has not, the other side keeps it.
bool answerTaken(int control);

enum class HandOver {
    kTaken,   ///< the other server has the client now
    kNobody,  ///< there is none, or it is ending: try to be the server
    kSilent,  ///< it does not react
};

/// Hands a client over to the server of the directory.
HandOver handOver(const Directory& directory, int client, std::string_view received);

/// Asks the server of the directory for its figures. Empty when none answers.
std::string askForFigures(const Directory& directory);

}  // namespace kelvo::zocached
