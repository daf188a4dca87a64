// The log of --debug: what a run does, step by step, through the library's debug text.
#pragma once

#include <cstdio>
#include <initializer_list>
#include <string>

#include "fit_result.h"
#include "options.h"

namespace kelvo::fit {

/// Writes nothing without a file. Each line is on the disk's way before the next step runs, so that
/// the log of a run that ends badly tells how far it came.
class DebugLog {
  public:
    /// Starts `options.debug` anew; "-" is standard error. Throws Failure when it cannot be written
    /// or is one of the files that are read (empty: none).
    DebugLog(const Options& options, std::initializer_list<std::string> inputs);
    /// Says so on stderr when not all has arrived.
    ~DebugLog();
    DebugLog(const DebugLog&) = delete;
    DebugLog& operator=(const DebugLog&) = delete;

    /// A line, one level deeper inside a stage.
    void line(const std::string& text) const;
    /// Starts a stage.
    void stage(const std::string& name) const;

    /// The patches, worst first.
    void patches(const PatchesResult& patches) const;
    /// A fit of the refinement.
    void step(int number, const SplineFit& fit) const;
    /// The history of the edits.
    void edits(const EditResult& edits) const;

  private:
    const std::string& name_;    // of the options; empty: no log
    std::FILE* file_ = nullptr;  // owned; null: none, or standard error
};

}  // namespace kelvo::fit
