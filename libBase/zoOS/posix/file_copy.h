// Making a file under a temporary name and giving it its real one when it is complete. All paths
// are the system's; results are error numbers, 0 for success.
#pragma once

#include <sys/stat.h>

#include <string>

#include "libBase/zoOS/posix/descriptor.h"

namespace kelvo::zoos {

/// What becomes of the owner of a copied file.
enum class Owner {
    kOurs,  ///< this user
    kKept,  ///< as before, where the system lets us
};

/// True when both are one file.
bool isSameFile(const struct stat& a, const struct stat& b);

/// Renames; EEXIST when the target is there and `overwrite` is not set, without a moment between
/// asking and renaming.
int rename(const std::string& from, const std::string& to, bool overwrite);

/// A name beside `target`, which nobody uses.
std::string temporaryNameFor(const std::string& target);

/// Copies content, permissions and times of the open regular file `from` and gives the result the
/// name `target` when all of it is on the disk.
int copyTo(const std::string& target, int from, bool overwrite, Owner owner);

}  // namespace kelvo::zoos
