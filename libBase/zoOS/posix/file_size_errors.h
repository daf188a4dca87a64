// Writing beyond the limit that a process has for the size of its files (ulimit -f).
#pragma once

#include <signal.h>

#include <ctime>

namespace kelvo::zoos {

/// While one lives, such writing is the error EFBIG in this thread and not a signal that ends the
/// process.
class FileSizeErrors {
  public:
    FileSizeErrors() {
        sigset_t pending;
        sigemptyset(&signal_);
        sigaddset(&signal_, SIGXFSZ);
        wasPending_ = sigpending(&pending) == 0 && sigismember(&pending, SIGXFSZ) == 1;
        pthread_sigmask(SIG_BLOCK, &signal_, &before_);
    }
    ~FileSizeErrors() {
        // A signal of our own goes; one that waited before is somebody else's.
        const timespec now{};
        if (!wasPending_) sigtimedwait(&signal_, nullptr, &now);
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }
    FileSizeErrors(const FileSizeErrors&) = delete;
    FileSizeErrors& operator=(const FileSizeErrors&) = delete;

  private:
    sigset_t signal_;
    sigset_t before_;
    bool wasPending_;
};

}  // namespace kelvo::zoos
