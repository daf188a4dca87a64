// For tests that play a user at a terminal.
#pragma once

#include <gtest/gtest.h>
#include <pty.h>
#include <unistd.h>

namespace kelvo::test {

/// Skips where the system gives no pseudo-terminals, as a bare file system root without /dev/pts.
class TerminalTest : public testing::Test {
  protected:
    void SetUp() override {
        int master = -1, terminal = -1;
        if (openpty(&master, &terminal, nullptr, nullptr, nullptr) != 0)
            GTEST_SKIP() << "this system gives no pseudo-terminals";
        close(terminal);
        close(master);
    }
};

}  // namespace kelvo::test
