// What the server keeps in its directory so that it is the only one there and can be found: the
// guard, the socket for those who start later, the lock file. People and clients delete them.
#pragma once

#include "programs/zocached/directory.h"

namespace kelvo::zocached {

class Presence {
  public:
    /// `guard` is the right to be the server of `directory`, which must live as long.
    Presence(const Directory& directory, Descriptor guard);

    /// Listens on the socket, in place of the one before.
    zoUtil::Error listen();
    /// The socket that listens; -1 before.
    int control() const { return control_.get(); }
    /// Says in the lock file that the server listens on this port.
    void advertise(int port) const;
    /// The same, when the file does not say so.
    void keepAdvertised(int port) const;
    /// Takes the lock file back; leave() takes the socket's name too.
    void withdraw(int port) const;
    void leave(int port) const;

    enum class State {
        kSound,
        kUnheard,  ///< the socket has gone: listen() again
        kLost,     ///< another server may be there, now and from now on
    };
    /// Looks whether all is there, and makes a guard that was deleted again.
    State check();
    bool isLost() const { return isLost_; }

  private:
    bool isStillGuarded();

    const Directory& directory_;
    Descriptor guard_;
    Descriptor control_;
    int unguarded_ = 0;  // checks in a row that found the guard gone
    bool isLost_ = false;
};

}  // namespace kelvo::zocached
