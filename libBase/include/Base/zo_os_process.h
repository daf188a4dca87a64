// Running other programs.
//   1. arguments[0] is the path of the program, the others are its arguments. No shell reads them
//      and no search path is used: every argument arrives byte for byte, empty ones too. One with a
//      zero byte inside cannot be passed and is refused. The paths of the program and of the
//      working directory go through nativePath.
//   2. The program gets this environment, an empty signal mask, the default action for SIGPIPE and
//      SIGCHLD, and no open file of this process beyond stdin, stdout and stderr.
//   3. An empty working directory keeps the current one. In another one, a relative program path is
//      looked up from there.
//   4. A program that cannot be started is an error at once: the code is the system's error number
//      (ENOENT: no such program or directory), the message names the program.
//   5. Other children of this process are left alone. A process that ignores SIGCHLD, or that waits
//      for any child in a handler, takes the exit code away: startSync then ends with ECHILD.
// One thread.
#pragma once

#include <vector>

#include "Base/base_api.h"
#include "Base/zo_os_filename.h"
#include "Base/zo_string.h"
#include "Base/zo_util.h"

namespace zoOS {

/// Starts programs and collects those that have ended.
class BASE_API ProcessManager {
  public:
    /// The one manager of the process.
    static ProcessManager& getInstance();

    ProcessManager(const ProcessManager&) = delete;
    ProcessManager& operator=(const ProcessManager&) = delete;

    /// Runs a program and waits for its end; it shares stdin, stdout and stderr. `exitCode` is what
    /// it ended with (0 to 255), or -1 with every error. A program ended by a signal is an error
    /// with code 128 + signal.
    zoUtil::Error startSync(const std::vector<zoString::CString>& arguments,
                            const Filename& workingDirectory, int& exitCode);

    /// Starts a program and does not wait. It leads a session of its own, so that neither a closed
    /// terminal nor an interrupt key ends it, and has /dev/null for stdin, stdout and stderr, so
    /// that nobody who reads our output waits for it. When it has ended, the next call of startSync
    /// or startAsync collects it.
    zoUtil::Error startAsync(const std::vector<zoString::CString>& arguments,
                             const Filename& workingDirectory);

  private:
    ProcessManager() = default;
};

}  // namespace zoOS
