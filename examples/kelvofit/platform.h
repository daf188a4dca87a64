// What the program needs of the system beyond the standard library.
#pragma once

#include <string>

namespace kelvo::fit {

/// From now on Ctrl-C is remembered instead of ending the program; a second one ends it.
void watchInterrupt();
/// Whether Ctrl-C was pressed.
bool interrupted();

/// A file's content on its way: written under a temporary name beside `path`, flushed to the disk.
/// Returns that name; throws Failure, leaving nothing, when it cannot be written in whole.
std::string writeTemporary(const std::string& path, const std::string& content);

/// Throws Failure when `dir` exists and files cannot be made in it (or it is none).
void checkWritable(const std::string& dir);
/// Flushes the names in `dir` to the disk, where the system can.
void flushDirectory(const std::string& dir);

}  // namespace kelvo::fit
