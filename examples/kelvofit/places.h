// Where the files of a run lie.
#pragma once

#include <string>

#include "options.h"
#include "result_files.h"

namespace kelvo::fit {

/// Results lie in the directory of --out, and other names are taken as they are. With --project
/// names without a directory in front lead into the project: models into "wire", pictures into
/// "pix", texts into the project's directory itself. All paths are for the system.
class Places {
  public:
    /// Makes the project, if there is one, the current one. Throws Failure when it cannot be used.
    explicit Places(const Options& options);

    /// Throws Failure when the directories for the results cannot be written to, and when a result
    /// would replace a directory, the input, the script or the log, which is not open yet.
    void check();

    std::string input();
    /// The script of edits.
    std::string script();
    /// A result, whose directory is made when there is none. Throws Failure when that fails.
    std::string result(const std::string& name);
    /// The same for a picture of the turntable, counted from 1. In a project it is a frame of the
    /// sequence fit.svg.
    std::string frame(int number);
    /// Such a picture from earlier, whatever the width of its number; empty when there is none.
    std::string oldFrame(int number);

    /// The directory of the results, for people.
    std::string shown() const;
    /// The directories made stay; without this call those go that hold nothing.
    void keep() { made_.keep(); }

  private:
    bool inProject() const { return !options_.project.empty(); }
    std::string resultPath(const std::string& name);
    std::string framePath(int number);
    void checkFrames();
    void checkResult(const std::string& path);
    void checkKept(const std::string& path);
    std::string expanded(const std::string& name, int type);

    const Options& options_;
    MadeDirectories made_;
};

}  // namespace kelvo::fit
