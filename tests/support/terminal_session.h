// For tests that play a user at a terminal.
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <functional>
#include <string>

namespace kelvo::test {

/// Skips where the system gives no pseudo-terminals, as a bare file system root without /dev/pts.
class TerminalTest : public testing::Test {
  protected:
    void SetUp() override;
};

/// Runs code in a child that has a terminal of its own.
class TerminalSession {
  public:
    /// The child ends with what `body` returns, at the latest after 30 seconds.
    explicit TerminalSession(const std::function<int()>& body, unsigned short columns = 80);
    ~TerminalSession() { hangUp(); }
    TerminalSession(const TerminalSession&) = delete;
    TerminalSession& operator=(const TerminalSession&) = delete;

    /// Reads until the text has been shown behind the one awaited before; false at the end.
    bool await(const std::string& text);
    void type(const std::string& keys);
    void signal(int number);
    void hangUp();
    /// Whether the terminal gives single keys and does not show them.
    bool readsKeys() const;
    /// Waits for the child's end: its exit code, or -signal.
    int end();

    std::string shown;

  private:
    bool readSome();

    pid_t pid_;
    int master_ = -1;
    std::size_t seen_ = 0;
};

}  // namespace kelvo::test
