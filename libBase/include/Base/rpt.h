// Reports: where the libraries say something to the developer or the user.
//   1. Every report function formats like printf and appends nothing. A text may be of any length.
//   2. The finished text goes to one sink. The default sink writes to stderr; an application (or a
//      test) installs its own with rptSetSink.
//   3. Reports never fail the caller: errno is kept, and without memory a long text arrives cut.
//   4. A report made inside a sink goes to the default sink, so that a sink cannot call itself.
//   5. One thread, as all process-wide state of the libraries.
// Results of int report functions: number of characters of the text. Negative: the text could not
// be formatted and the sink got the bare format instead.
#pragma once

#include <cstdarg>
#include <cstddef>

#include "Base/base_api.h"

/// Lets the compiler check values against a printf format: `text` is the number of the parameter
/// with the format, `first` that of the first value (0 for a va_list).
#if defined(__GNUC__)
#define BASE_PRINTF(text, first) __attribute__((__format__(__printf__, text, first)))
#else
#define BASE_PRINTF(text, first)
#endif

/// What a report is about.
enum class rptKind {
    kError,   ///< rptError, rptVError
    kDebug,   ///< rptDebug
    kStatus,  ///< rptStatus: replaces the status shown before it
    kUser,    ///< rptUser
    kUndo,    ///< zoUndoReport
};

/// Receives every report: its kind, the level given to rptDebug (0 for all other kinds), the
/// formatted text (never null, valid during the call) and the word given to rptSetSink.
using rptSink = void (*)(rptKind kind, int level, const char* text, void* context);

/// Replaces rptCheckAbort; gets the word given to rptSetCheckAbort.
using rptAbortPoll = int (*)(void* context);

/// Replaces rptSleep; gets the word given to rptSetSleep.
using rptPause = void (*)(unsigned milliseconds, void* context);

extern "C" {

// ---- Reports

/// Reports an error. The text may be a piece of a line; the next report continues it.
BASE_API int rptError(const char* format, ...) BASE_PRINTF(1, 2);

/// The same as rptError, with the values as a list.
BASE_API int rptVError(const char* format, va_list values) BASE_PRINTF(1, 0);

/// Reports something of interest to developers; level 0 is the most important. The texts ">>>" and
/// "<<<", each in a report of its own, open and close a nesting level: the default sink shows them
/// as indentation, other sinks get them as they are.
BASE_API int rptDebug(int level, const char* format, ...) BASE_PRINTF(2, 3);

/// Shows what is going on. On a terminal the default sink keeps one line for it at the bottom, cut
/// to the width of the terminal; elsewhere each status becomes a line.
BASE_API int rptStatus(const char* format, ...) BASE_PRINTF(1, 2);

/// Tells the user something that should stay. The default sink gives each such text its own line.
BASE_API int rptUser(const char* format, ...) BASE_PRINTF(1, 2);

/// Reports misuse of undo groups.
BASE_API void zoUndoReport(const char* format, ...) BASE_PRINTF(1, 2);

// ---- The user and the clock

/// Non-zero when the user has asked to stop. The default asks the terminal, without waiting: it
/// says 1 once for each press of the Escape key (arrow keys and the like, which begin with the same
/// byte, are no Escape). Keys typed before the Escape are consumed, later ones stay. Always 0 when
/// stdin is not the controlling terminal or the process runs in its background.
BASE_API int rptCheckAbort(void);

/// Waits for at least this long; signals do not cut it short. 0 returns at once.
BASE_API void rptSleep(unsigned milliseconds);

// ---- Formatting

/// Formats into `buffer` of `size` bytes, always terminated when size is not 0. Returns the length
/// that the whole text has (size or more: it was cut), or a negative number and an empty text when
/// it cannot be formatted. A null `buffer` counts as size 0.
BASE_API int VL_vsnprintf(char* buffer, size_t size, const char* format, va_list values)
    BASE_PRINTF(3, 0);

// ---- Replacing the ends

/// Sends all reports to `sink` from now on; null brings the default sink back. Returns the sink
/// installed before (null: the default one) and puts its word into `previous_context` unless null.
BASE_API rptSink rptSetSink(rptSink sink, void* context, void** previous_context = nullptr);

/// The default sink, for sinks that pass reports on. The word is not used.
BASE_API void rptDefaultSink(rptKind kind, int level, const char* text, void* context);

/// Inside a sink: the format from which the text was made. Null elsewhere.
BASE_API const char* rptCurrentFormat(void);

/// Replaces what rptCheckAbort asks; null brings the terminal back. Results as of rptSetSink.
BASE_API rptAbortPoll rptSetCheckAbort(rptAbortPoll poll, void* context,
                                       void** previous_context = nullptr);

/// Replaces what rptSleep does; null brings the real pause back. Results as of rptSetSink.
BASE_API rptPause rptSetSleep(rptPause pause, void* context, void** previous_context = nullptr);

}  // extern "C"
