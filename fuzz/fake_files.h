// A file system that is made up, so that no run leaves anything on the disk or waits for it.
#pragma once

#include <string>

namespace kelvo::fuzz {

/// Whether the system would find anything under this path, which is one of the system's.
bool fakeFileExists(const std::string& path);

/// While one lives, questions about paths (stat and the like) are answered by fakeFileExists, and
/// directories are made without effect. One at a time.
class FakeFiles {
  public:
    FakeFiles();
    ~FakeFiles();
    FakeFiles(const FakeFiles&) = delete;
    FakeFiles& operator=(const FakeFiles&) = delete;

    /// The path asked about last.
    const std::string& asked() const { return asked_; }

    /// For the calls that take the system's place: error number, 0 when the path exists.
    int ask(const char* path);

  private:
    std::string asked_;
};

}  // namespace kelvo::fuzz
