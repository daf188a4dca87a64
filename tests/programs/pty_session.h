// A program on a terminal of its own.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace kelvo::test {

/// Starts a program whose controlling terminal, stdin, stdout and stderr are a pseudo-terminal, in
/// an environment without a display. Everything has a deadline of half a minute.
class PtySession {
  public:
    PtySession(const std::vector<std::string>& arguments, unsigned short columns = 80,
               unsigned short rows = 24);
    /// The same with code instead of a program; its result is the exit code.
    explicit PtySession(const std::function<int()>& body);
    ~PtySession();
    PtySession(const PtySession&) = delete;
    PtySession& operator=(const PtySession&) = delete;

    /// Reads until `text` has been shown since the last call, which then begins behind it.
    bool await(const std::string& text);
    void type(const std::string& keys);
    void hangUp();
    void signal(int number);
    /// True while single keys are read unseen.
    bool readsKeys() const;
    /// Waits for the end: the exit code, or -signal.
    int end();
    /// Everything shown so far.
    const std::string& shown() const { return shown_; }

  private:
    void start(const std::function<int()>& body, unsigned short columns, unsigned short rows);
    bool readSome();

    pid_t pid_ = -1;
    int master_ = -1;
    std::string shown_;
    std::size_t seen_ = 0;  // of shown_
};

}  // namespace kelvo::test
