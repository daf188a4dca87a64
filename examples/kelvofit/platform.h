// What the program needs of the system beyond the standard library.
#pragma once

#include <signal.h>

#include <string>
#include <system_error>

namespace kelvo::fit {

/// From now on Ctrl-C is remembered instead of ending the program. A second one, and any other signal
/// that asks the program to end, removes what is unfinished first.
void watchInterrupt();
/// Whether Ctrl-C was pressed.
bool interrupted();

/// While one lives, signals that ask the program to end wait.
class SignalsHeld {
  public:
    SignalsHeld();
    ~SignalsHeld();
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;

  private:
    sigset_t before_;
};

/// Makes a directory that counts as unfinished. Returns whether there was none; sets `error` when it
/// cannot be made.
bool makeUnfinishedDirectory(const std::string& path, std::error_code& error);
/// Nothing counts as unfinished any more.
void forgetUnfinished();

/// A file's content on its way: written under a temporary name beside `path`, flushed to the disk,
/// unfinished. Returns that name; throws Failure, leaving nothing, when it cannot be written in whole.
std::string writeTemporary(const std::string& path, const std::string& content);

/// Throws Failure when `dir` exists and files cannot be made in it (or it is none).
void checkWritable(const std::string& dir);
/// Flushes the names in `dir` to the disk, where the system can.
void flushDirectory(const std::string& dir);

}  // namespace kelvo::fit
