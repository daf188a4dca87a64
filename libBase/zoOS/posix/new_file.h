// Making a file so that its name appears together with its whole content. All paths are the
// system's; results are error numbers, 0 for success.
#pragma once

#include <string>
#include <utility>

#include "libBase/zoOS/posix/descriptor.h"

namespace kelvo::zoos {

/// Renames; EEXIST when the target is there and `overwrite` is not set, without a moment between
/// asking and renaming.
int rename(const std::string& from, const std::string& to, bool overwrite);

/// A name beside `target`, which nobody uses.
std::string temporaryNameFor(const std::string& target);

/// A file that will get the name `target` when its maker is content with it, and goes otherwise.
class NewFile {
  public:
    explicit NewFile(std::string target) : target_(std::move(target)) {}
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    /// Makes it without any name: a process that dies leaves nothing behind. Not all file systems
    /// can.
    int createUnnamed();
    /// Makes it under a temporary name beside the target.
    int createNamed();

    /// The file, open for reading and writing.
    int descriptor() const { return file_.get(); }

    /// Gives it the target's name; EEXIST when that is taken and `overwrite` is not set. Closes the
    /// file. With any error the target is what it was.
    int place(bool overwrite);

  private:
    int linkTo(const std::string& name) const;
    int giveTemporaryName();

    Descriptor file_;
    std::string target_;
    std::string temporary_;  // empty: none
};

}  // namespace kelvo::zoos
