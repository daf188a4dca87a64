// Warnings: a message with buttons that the user has to answer before the call returns.
//   1. The program velaWarning shows it (a window, or a dialog on the terminal when there is no
//      display); it is found through APP_getBinaryPath.
//   2. Result of every function: index of the pressed button from 0, in the order given; -1 when
//      none was pressed (closed, Escape), when velaWarning is missing or was killed, and when the
//      warning has no button or nothing to say: neither a line (an empty one counts) nor a detail.
//   3. Texts are UTF-8 and shown as they are. Null counts as an empty text. Nothing is kept.
#pragma once

#include <vector>

#include "Base/zo_string.h"
#include "KelvoBase/kelvo_api.h"

/// What the value behind a tag of VL_warning means; each value is a `const char*` (write nullptr,
/// not 0: a plain 0 is narrower). Values with any other tag are skipped.
enum VlWarningTag {
    VL_WARN_LINE = 0,    ///< a further line of the message
    VL_WARN_BUTTON = 1,  ///< a further button
    VL_WARN_DETAIL = 2,  ///< long text, folded away behind "Details"; the last one counts
    VL_WARN_TITLE = 3,   ///< title of the window; the last one counts
    VL_WARN_END = 4,     ///< ends the list; no value follows
};

namespace zoKelvoBase {

/// Everything that a warning shows.
struct VelaWarningParams {
    zoString::CString title;
    std::vector<zoString::CString> lines;    ///< of the message, top to bottom
    std::vector<zoString::CString> buttons;  ///< labels in display order; the first is the default
    zoString::CString detail;                ///< shown when the user asks for it
};

}  // namespace zoKelvoBase

extern "C" {

/// Shows a warning made from pairs of tag and value that end with VL_WARN_END.
KELVO_API int VL_warning(int tag, ...);

/// The same, with the first `count` buttons from an array. Not positive, or a null array: none.
KELVO_API int VL_warning_buttons(int count, const char** buttons, int tag, ...);

/// One line and the button "OK".
KELVO_API int VL_warning_ok(const char* message);

}  // extern "C"

/// Shows a warning; the functions above end here.
KELVO_API int VL_warning(const zoKelvoBase::VelaWarningParams& params);
