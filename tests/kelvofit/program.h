// Runs the real kelvofit in a directory of its own, which is removed afterwards.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "json.h"

namespace kelvo::test {

struct Outcome {
    int code = -1;  // exit code; -1 when a signal ended it or it took too long
    std::string out, err;
};

/// What else happens to a run.
struct Conditions {
    bool interrupt = false;  // Ctrl-C as soon as it has said something on stderr
    long largestFile = 0;    // bytes; writing more fails. 0: no limit
    int seconds = 120;       // then it is killed
    bool cache = false;      // else with --no-cache
};

class Bench {
  public:
    Bench();
    ~Bench();
    Bench(const Bench&) = delete;
    Bench& operator=(const Bench&) = delete;

    /// Its full path.
    std::string directory() const { return (dir_ / "work").string(); }
    void write(const std::string& name, const std::string& content) const;
    std::string read(const std::string& name) const;
    bool exists(const std::string& name) const;
    /// Names of all there is in a directory ("." : the bench itself), sorted.
    std::vector<std::string> list(const std::string& dir = ".") const;
    /// kelvofit with these arguments, the bench as its current directory.
    Outcome run(const std::vector<std::string>& arguments, const Conditions& conditions = {}) const;
    /// DIR/report.json; fails the test when it is not valid JSON.
    Json report(const std::string& dir) const;

  private:
    std::filesystem::path dir_;
};

}  // namespace kelvo::test
