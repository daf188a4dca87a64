// Runs code in a forked child: for calls that abort the process, and for state that must be fresh.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace kelvo::test {

/// How a child ended and what it wrote.
struct ChildResult {
    int signal = 0;    ///< the signal that ended it, or 0
    int exitCode = 0;  ///< when no signal did
    bool timedOut = false;
    std::string errors;  ///< all of stderr
};

/// In a child: becomes the program of this name, one of ours; ends with 99 when it cannot.
[[noreturn]] void becomeProgram(const char* name, const std::vector<std::string>& arguments);

/// Runs `body` in a child process whose stderr is a pipe and whose sink is the default one. A body
/// that returns ends with exit code 0, or 1 when it saw a failed expectation, whose text is then in
/// `errors`; one that throws ends with 2. A child that outlives `seconds` is killed.
ChildResult runInChild(const std::function<void()>& body, int seconds = 30);

/// Success when `body` aborts and has then written exactly `report` to stderr.
testing::AssertionResult abortsWithReport(const std::function<void()>& body,
                                          const std::string& report);

/// Success when `body` returns normally in a child, all its expectations met.
testing::AssertionResult passesInChild(const std::function<void()>& body);

}  // namespace kelvo::test
