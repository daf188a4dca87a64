// The dialog on a terminal: the text in pages, the buttons numbered.
#pragma once

#include "programs/velaWarning/message.h"
#include "programs/velaWarning/terminal.h"

namespace kelvo::velaWarning {

/// Asks until a button is chosen; its number from 1, or kNoButton when the user gives up or the
/// terminal hangs up. `terminal` must be usable.
int askOnTerminal(const Terminal& terminal, const Message& message);

}  // namespace kelvo::velaWarning
