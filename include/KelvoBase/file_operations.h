// Files by name: copy, move, delete, ask. Nothing is printed; zo_os_file.h of libBase has the same
// with errors that say why.
#pragma once

#include "KelvoBase/kelvo_api.h"

extern "C" {

/// Removes a file, not a directory. 1, or 0 when it could not be removed or was not there.
KELVO_API int zoFileDelete(const char* path);

/// Copies a file with its permissions and times. An existing target is replaced only with
/// `overwrite`, and is whole at any moment. 1, or 0 with the target as it was.
KELVO_API int zoFileCopy(const char* from, const char* to, bool overwrite);

/// Moves a file, to other file systems too. 1, or 0 with the file where it was.
KELVO_API int zoFileMove(const char* from, const char* to, bool overwrite);

/// What a path is: 0x4000 a directory, 0x8000 a regular file, other type bits of the system (mask
/// 0xF000) for devices and the like; 0 when there is nothing, or null. Links are followed. One
/// backslash at the end does not count; "C:" is the root of the drive.
KELVO_API int FB_FileExists(const char* path);

}  // extern "C"
