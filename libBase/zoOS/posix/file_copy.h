// Copying an open file to its place. All paths are the system's; results are error numbers, 0 for
// success.
#pragma once

#include <sys/stat.h>

#include <string>

namespace kelvo::zoos {

/// What a copy is made for.
enum class Purpose {
    kCopy,  ///< a second file, which is this user's
    kMove,  ///< to take the first one's place: its owner and rights are kept where the system lets
            ///< us, and one that changes meanwhile is EBUSY
};

/// True when both are one file.
bool isSameFile(const struct stat& a, const struct stat& b);

/// True for what a copy or a moved file may replace: no device, pipe or socket.
bool isReplaceable(const struct stat& target);

/// Copies content, permissions and times of the open regular file `from` and gives the result the
/// name `target` when all of it is on the disk. EEXIST when that is taken and `overwrite` is not
/// set.
int copyTo(const std::string& target, int from, bool overwrite, Purpose purpose);

}  // namespace kelvo::zoos
