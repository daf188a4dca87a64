// Reading directories: the whole listing is read when a directory is opened.
//   1. The names are "." and "..", then the others in the order of the file system. Changes after
//      win32_opendir do not show.
//   2. A handle is for one thread at a time; serial numbers are process-wide, for one thread.
//   3. `DIR` names our handle unless <dirent.h>, which has another one, was included before. To use
//      both headers include <dirent.h> first and write win32_DIR.
#pragma once

#include "KelvoBase/kelvo_api.h"

extern "C" {

/// One name.
struct win32_dirent {
    std::int32_t d_ino;  ///< serial number: how many entries were given before this, by any handle
    std::int32_t d_namlen;  ///< bytes of the name
    char d_name[260];       ///< terminated
};

/// An open directory. Made and released by the functions below; to be read only.
struct win32_DIR {
    char* start;         ///< owned: all names, each terminated, one behind the other; null if none
    char* curr;          ///< the next name, in `start`; null at the end
    std::int32_t size;   ///< bytes in use in `start`
    std::int32_t count;  ///< number of names
    win32_dirent entry;  ///< what win32_readdir returns
};
#ifndef _DIRENT_H
typedef win32_DIR DIR;
#endif

/// Reads a directory. Null when there is none of that name, when it cannot be read, when the path
/// is null or has more than 260 characters, and when memory runs out. Of a bare drive ("C:") the
/// root is read, and a backslash is appended to the caller's text, which needs room for 4 bytes.
KELVO_API win32_DIR* win32_opendir(char* path);

/// The next entry, or null at the end. There is one record for each handle, overwritten by the next
/// call. Reading past the end uses up no serial number.
KELVO_API win32_dirent* win32_readdir(win32_DIR* directory);

/// The position, for win32_seekdir of this handle; 0 at the end.
KELVO_API long win32_telldir(win32_DIR* directory);

/// Goes to a position of win32_telldir. Any other number leads to the end.
KELVO_API void win32_seekdir(win32_DIR* directory, long position);

/// Goes to the first name.
KELVO_API void win32_rewinddir(win32_DIR* directory);

/// Releases the handle. Always 1; null is allowed.
KELVO_API int win32_closedir(win32_DIR* directory);

}  // extern "C"
