// Where the programs are that belong to the libraries (warning dialog, cache server).
#pragma once

#include "Base/base_api.h"
#include "Base/zo_string.h"

/// Full path of a program. Looked for in the directory of the running executable, then in `bin` and
/// `libexec` beside the directory that libBase was loaded from or one level higher, which covers a
/// build tree and an installed one. Found nowhere: the path it would have beside the executable.
BASE_API zoString::CString APP_getBinaryPath(const char* program);

/// From now on APP_getBinaryPath answers with this directory, whether the program is there or not.
/// Null or empty brings the search back.
BASE_API void APP_setBinaryDirectory(const char* directory);
