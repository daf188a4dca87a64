// The terminal of the user: writes lines, reads single keys.
#pragma once

#include <string>

namespace kelvo::velaWarning {

/// Keys that are no printable character (those are their own code).
enum Key : int {
    kKeyEnd = -1,     ///< no further keys: hung up
    kKeyOther = -2,   ///< cursor and function keys, Alt with a key, bytes beyond ASCII
    kKeyGiveUp = -3,  ///< Escape, ^C, ^D
    kKeyEnter = -4,
    kKeyErase = -5,
};

/// The controlling terminal, or else the one on stdin and stdout. While it lives keys are read
/// singly, unseen, and interrupt keys are keys; the destructor, and a signal that ends the process,
/// bring the former settings back. One at a time.
class Terminal {
  public:
    /// Discards what was typed before.
    Terminal();
    ~Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    /// False without a terminal, or when the process runs in its background.
    bool usable() const { return active_; }
    /// Size in characters; 80 and 24 when the terminal does not say.
    int columns() const;
    int rows() const;

    /// Writes text as it is; false when the terminal is gone.
    bool write(const std::string& text) const;
    /// Waits for a key.
    int key() const;

  private:
    int nextByte(int milliseconds) const;
    int keyAfterEscape() const;

    int input_ = -1;
    int output_ = -1;
    bool ownsFile_ = false;
    bool active_ = false;
};

}  // namespace kelvo::velaWarning
