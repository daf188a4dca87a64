// Runs the real kelvofit in a directory of its own, which is removed afterwards.
#pragma once

#include <string>
#include <vector>

#include "json.h"
#include "tests/support/temporary_directory.h"

namespace kelvo::test {

using Names = std::vector<std::string>;

inline const std::string kHills = KELVOFIT_DATA "/hills.xyz";
inline const std::string kTeapot = KELVOFIT_DATA "/teapot.patches";

struct Outcome {
    int code = -1;  // exit code; -1 when a signal ended it or it took too long
    std::string out, err;
};

/// What else happens to a run.
struct Conditions {
    bool interrupt = false;     // Ctrl-C as soon as it has said something on stderr
    int endWhileWriting = 0;    // this signal, SIGINT twice, once there is a temporary file
    std::string leftover = {};  // made before, with the number of the process behind it
    long largestFile = 0;       // bytes; writing more fails. 0: no limit
    bool cache = false;         // else with --no-cache
};

class Bench {
  public:
    Bench();

    /// Its full path.
    std::string directory() const { return place_ / "work"; }
    std::string path(const std::string& name) const { return directory() + "/" + name; }
    void write(const std::string& name, const std::string& content) const;
    std::string read(const std::string& name) const;
    bool exists(const std::string& name) const;
    /// Names of all there is in a directory ("." : the bench itself), sorted.
    Names list(const std::string& dir = ".") const;
    /// kelvofit with these arguments, the bench as its current directory.
    Outcome run(const Names& arguments, const Conditions& conditions = {}) const;
    /// A quiet run with its results in DIR, and its report; fails the test when it does not end
    /// well.
    Json fit(const std::string& dir, Names arguments) const;
    /// A run that ends with code 2 and one sentence with `says` in it, and changes no file.
    void expectRefused(const Names& arguments, const std::string& says,
                       const Conditions& conditions = {}) const;
    /// DIR/report.json; fails the test when it is not valid JSON.
    Json report(const std::string& dir) const;

  private:
    /// Paths and contents of all files.
    std::string everything() const;

    TemporaryDirectory place_;
};

/// Points of waves of this height over the unit square, with a hole, as a file of them.
std::string waves(int count, double height);

}  // namespace kelvo::test
