// The window, which is a program of its own.
#pragma once

#include <optional>

namespace kelvo::velaWarning {

/// Shows the window for this command line: the number of the pressed button, kNoButton when it was
/// closed. Nothing when it could not be shown: no display, a dead one, no Qt.
std::optional<int> askInWindow(int argc, char** argv);

}  // namespace kelvo::velaWarning
