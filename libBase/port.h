// What a system has to supply for libBase beyond the C++ standard library. A port implements these
// in zoOS/<system>; nothing else in rpt, MA, zo, zoString, zoUtil and APP depends on the system.
#pragma once

#include <string>

namespace kelvo::port {

/// Columns of the terminal behind stderr, or 0 when stderr is no terminal that understands carriage
/// return and "erase to end of line" (ESC [ K).
int statusLineColumns();

/// True once for each press of the Escape key on the terminal this process is talking to. Does not
/// wait for keys, shows nothing, leaves the terminal as it was. False without such a terminal.
bool escapePressed();

/// Not 0 while the process is known to have one thread only; may always be 0. Never changes from 0
/// while a second thread runs. Never null, not even before constructors run.
extern const char* const singleThreadFlag;

/// True while the process is known to have one thread only; then locks may be left out. Inline,
/// because small vectors ask it twice each.
inline bool singleThreaded() {
    return *singleThreadFlag != 0;
}

/// Full path of the running executable; empty when the system does not say.
std::string executablePath();

/// Full path, links resolved, of the file that this code was loaded from (libBase, or the
/// executable that it was linked into); empty when the system does not say.
std::string libraryPath();

/// True for a regular file that this process may execute.
bool isProgram(const char* path);

}  // namespace kelvo::port
