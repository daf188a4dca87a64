// Paths as texts, and the one place where they become paths of this system.
//   1. Paths are kept, compared and handed out exactly as they were given, drive letters and
//      backslashes included. Only nativePath maps them, right before a system call; all functions
//      of zoOS that take a path do that themselves.
//   2. The drive roots are process-wide: set them before other threads start.
#pragma once

#include "Base/base_api.h"
#include "Base/zo_string.h"

namespace zoOS {

/// The path to give to the system for `text`: every backslash becomes '/', a leading drive letter
/// ("C:") is replaced by the root of that drive, and the rest counts from that root even without a
/// separator ("C:" alone is the root). A single leading backslash means the root of the current
/// drive. All else, a leading '/' in particular, keeps its meaning. Null and empty give empty.
BASE_API zoString::CString nativePath(const char* text);

/// Makes `posixRoot` the directory that a drive letter (either case) stands for; null or empty
/// brings the default back, "/". A letter outside A to Z changes nothing.
BASE_API void setDriveRoot(char letter, const char* posixRoot);

/// Number of the current drive, 1 for 'A': always 3 here, or what a probe says.
BASE_API int currentDrive();

/// Full path of the running executable, or what a probe says; empty when the system does not tell.
BASE_API zoString::CString moduleFileName();

/// Replaces the six X that end `name` by letters and digits so that no file of that name exists at
/// this moment. False, with the name unchanged, when it is null or does not end in six X.
BASE_API bool makeUniqueName(char* name);

/// A name that may be an Internet address. Borrows nothing: the text is looked at once.
class BASE_API URL {
  public:
    explicit URL(const char* text);

    /// False only for "scheme://..." with a scheme of two or more characters other than "file" (in
    /// any case). Plain names, drive letters, the empty text and null are local.
    bool isLocalFile() const noexcept { return local_; }

  private:
    bool local_;
};

}  // namespace zoOS
