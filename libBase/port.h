// What a system has to supply for libBase beyond the C++ standard library. A port implements these
// in zoOS/<system>; nothing else in rpt, MA, zo, zoString and zoUtil depends on the system.
#pragma once

namespace kelvo::port {

/// Columns of the terminal behind stderr, or 0 when stderr is no terminal that understands carriage
/// return and "erase to end of line" (ESC [ K).
int statusLineColumns();

/// True once for each press of the Escape key on the terminal this process is talking to. Does not
/// wait for keys, shows nothing, leaves the terminal as it was. False without such a terminal.
bool escapePressed();

/// Not 0 while the process has one thread only, as far as the system can tell. Never null.
extern const char* const oneThreadFlag;

/// True while the process is known to have one thread only; then locks may be left out. May always
/// be false. Never changes from false to true while a second thread runs.
inline bool singleThreaded() {
    return *oneThreadFlag != 0;
}

}  // namespace kelvo::port
