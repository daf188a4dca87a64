// Writes all results of a run, or none.
#pragma once

#include <string>
#include <vector>

namespace kelvo::fit {

class ResultDirectory {
  public:
    explicit ResultDirectory(std::string dir) : dir_(std::move(dir)) {}
    /// Removes what is not committed, the directory too if this object made it.
    ~ResultDirectory();
    ResultDirectory(const ResultDirectory&) = delete;
    ResultDirectory& operator=(const ResultDirectory&) = delete;

    /// Writes a file under a temporary name, making the directory (and those above it) if there is
    /// none. Throws Failure when that fails.
    void add(const std::string& name, const std::string& content);
    /// Whether the directory holds a file of this name from earlier.
    bool has(const std::string& name) const;
    /// Removes such a file when everything is committed.
    void drop(const std::string& name);
    /// Gives all files their names, replacing older ones.
    void commit();

  private:
    void makeDirectory();

    struct Pending {
        std::string temporary, final;
    };
    std::string dir_;
    std::vector<std::string> made_;  // directories, outermost first
    std::vector<Pending> pending_;
    std::vector<std::string> dropped_;  // paths
};

}  // namespace kelvo::fit
