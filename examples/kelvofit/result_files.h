// Writes all results of a run, or none.
#pragma once

#include <string>
#include <vector>

namespace kelvo::fit {

class ResultFiles {
  public:
    ResultFiles() = default;
    /// Removes what is not committed.
    ~ResultFiles();
    ResultFiles(const ResultFiles&) = delete;
    ResultFiles& operator=(const ResultFiles&) = delete;

    /// Writes a file under a temporary name in its directory, which must exist. Throws Failure when
    /// that fails.
    void add(const std::string& path, const std::string& content);
    /// Removes an older file when everything is committed.
    void drop(const std::string& path) { dropped_.push_back(path); }
    /// Gives all files their names, replacing older ones.
    void commit();

  private:
    struct Pending {
        std::string temporary, final;
    };
    std::vector<Pending> pending_;
    std::vector<std::string> dropped_;  // paths
};

/// Directories made on the way to a result, gone with this object unless they are kept.
class MadeDirectories {
  public:
    MadeDirectories() = default;
    /// Removes those that are empty, if they are not kept.
    ~MadeDirectories();
    MadeDirectories(const MadeDirectories&) = delete;
    MadeDirectories& operator=(const MadeDirectories&) = delete;

    /// Makes a directory and those above it, as far as they are missing. Throws Failure when that
    /// fails.
    void make(const std::string& dir);
    void keep() { made_.clear(); }

  private:
    std::vector<std::string> made_;  // outer ones before inner ones
};

}  // namespace kelvo::fit
