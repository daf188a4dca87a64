// Directories and small disks for tests, gone afterwards.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace kelvo::test {

/// An empty directory of its own.
class TemporaryDirectory {
  public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::string& path() const { return path_; }
    /// The path of `name` inside.
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }
    /// Names inside, sorted and joined by spaces.
    std::string list(const std::string& below = "") const;

  private:
    std::string path_;
};

/// Tests that work in a directory.
class InDirectory : public testing::Test {
  protected:
    const TemporaryDirectory directory;
};

/// A file system in memory with so many bytes, at `path`. Only root can make one: ask mounted().
/// Nobody outside this process sees it, so nothing stays even when the test dies.
class SmallDisk {
  public:
    SmallDisk(const std::string& path, std::uint64_t bytes);
    ~SmallDisk();
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    bool mounted() const { return mounted_; }

  private:
    std::string path_;
    bool mounted_;
};

std::string contentOf(const std::string& path);
void writeFile(const std::string& path, const std::string& content);

/// An environment variable that has this value (null: is not set) until the end of the scope.
class ScopedVariable {
  public:
    ScopedVariable(const char* name, const char* value);
    ~ScopedVariable();
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;

  private:
    std::string name_;
    std::string before_;
    bool wasSet_;
};

}  // namespace kelvo::test
