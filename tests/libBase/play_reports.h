// A series of reports as one text, so that a table row can hold it.
#pragma once

#include <sstream>
#include <string>

#include "Base/rpt.h"

/// Makes the reports in `reports`, which '|' separates. The first character of each is its kind:
/// e error, d debug, D debug at level 1, s status, u user, z undo.
inline void play(const char* reports) {
    std::istringstream in(reports);
    for (std::string report; std::getline(in, report, '|');) {
        const char* text = report.c_str() + 1;
        switch (report[0]) {
            case 'e':
                rptError("%s", text);
                break;
            case 'd':
                rptDebug(0, "%s", text);
                break;
            case 'D':
                rptDebug(1, "%s", text);
                break;
            case 's':
                rptStatus("%s", text);
                break;
            case 'u':
                rptUser("%s", text);
                break;
            case 'z':
                zoUndoReport("%s", text);
                break;
        }
    }
}
