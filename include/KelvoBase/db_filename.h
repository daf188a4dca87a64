// The current project: a directory for every kind of file (vl_datatypes.h), and full paths from
// bare names.
//   1. A project lies in <project path><project name>\: project path "C:\work\" and name "shots" put
//      pictures into "C:\work\shots\pix\". The project path ends with a separator, none is added.
//   2. Texts keep the separators and drive letters they have; only the file system sees others.
//   3. Path buffers hold 260 bytes with the terminator. What would overflow them is cut off.
//   4. Process-wide state for the main thread. Nothing is printed.
#pragma once

#include "KelvoBase/kelvo_api.h"
#include "KelvoBase/vl_datatypes.h"

extern "C" {

/// The directory of one kind of file.
struct DbPathEntry {
    char* path;  ///< owned by the table; null in the entry that ends it
    int type;    ///< of vl_datatypes.h
};

// ---- The project

/// The buffers themselves, 260 bytes each, empty at first. Callers may write to them; the table of
/// paths follows only with Db_init_paths.
KELVO_API char* Db_get_project_name(void);
KELVO_API char* Db_get_project_path(void);
/// The working directory: where debug files go, two levels above the kinds' directories.
KELVO_API char* Db_get_vl_cwd(void);

/// Copies into a buffer; null empties it. The table of paths follows only with Db_init_paths.
KELVO_API void Db_set_project_name(const char* name);
KELVO_API void Db_set_project_path(const char* path);
KELVO_API void Db_set_vl_cwd(const char* directory);

/// The extension of project directories, or null. Valid until the next Db_set_project_extension.
KELVO_API char* Db_get_project_extension(void);
/// Stores a copy of the extension; null removes it.
KELVO_API void Db_set_project_extension(const char* extension);

// ---- The table of paths

/// Builds the table from the project as it is now, or builds it anew: paths of the old table are
/// released. Paths have at most 260 characters.
KELVO_API void Db_init_paths(void);

/// The table, 42 entries and one with a null path; null before it was first built.
KELVO_API DbPathEntry* Db_get_paths(void);

/// The directories below a project, in the order of the table: names to be read, not written. "."
/// is the project itself, ".." the project path, "..\.." the working directory.
KELVO_API DbPathEntry* Db_get_default_paths(void);

/// The first entry of a kind, or null. Builds the table when there is none.
KELVO_API DbPathEntry* Db_default_path(int type);

// ---- Paths

/// The directory part of `path`, separator included: up to the last backslash, or where there is
/// none, in an Internet address and in a path that begins with '/', up to the last '/'. A separator
/// in front does not count; without any other, the first character is all. `out` has room for
/// `path`. 1, or 0 when `path` (or `out`) is null.
KELVO_API int Db_make_dirname(const char* path, char* out);

/// The full path of a file of a kind, in the directory of that kind, which is made when it is
/// missing (one level; a failure shows when the file is used). Returns `out`, which has room for
/// 263 bytes and for `name`, and may be `name`.
///   - An Internet address and an absolute name (drive letter, or separator in front) stay.
///   - Quotes around `name` are taken off in place, so a quoted name must be writable.
///   - Null, and a name with which the path would be longer than 260 characters: the directory.
///   - A kind without a directory: the name, or "".
KELVO_API char* expand_filename(char* out, const char* name, int type);

/// A copy, released with free, in which every backslash is '/' (`toForward` not 0) or every '/' is
/// a backslash (0). Null for null and when memory runs out.
KELVO_API char* convertFilename(const char* name, int toForward);

/// A copy, released with free. Names that begin with '~' stay as they are. Null for null and when
/// memory runs out.
KELVO_API char* ExpandPathname(const char* name);

/// Where the application is installed: the environment variable VELA_LOCATION when it is set (as
/// it stands, even empty), else the directory of the running executable, cut at the first "\bin"
/// (or "/bin") in it, in a buffer that the next call overwrites.
KELVO_API const char* getVelaPath(void);

/// Takes all characters `c` off both ends of `s`, in place. Writes nothing when there are none.
KELVO_API void VL_string_leading_trailing_remove(char* s, char c);

}  // extern "C"
