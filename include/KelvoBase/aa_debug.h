// Debug text: one printer whose destination can be switched while the program runs.
//   1. Destinations (modes): 0 standard output, 1 standard error (at start), 2 a named file, 3 a
//      stream of the caller. Any other mode prints to standard error.
//   2. Every print is flushed before it returns, so nothing is lost in a crash.
//   3. A named file is opened at its first print, and truncated only then: a file that is selected
//      again later is appended to. While another destination is selected it is closed.
//   4. State is process-wide and for one thread.
#pragma once

#include "KelvoBase/kelvo_api.h"

extern "C" {

// --- Printing ------------------------------------------------------------------------------------

/// Prints like printf to the current destination. The result is that of printf: the number of
/// characters, negative when the text cannot be formatted. That the destination does not take them (a
/// full disk, say) need not show; a stream of the caller can be asked by ferror. A named file that
/// cannot be opened swallows the text: 0.
#if defined(__GNUC__)
__attribute__((__format__(__printf__, 1, 2)))
#endif
KELVO_API int
AA_debug_print(const char* format, ...);

/// Prints three spaces for every level of indentation; nothing when the level is 0 or below. 1.
KELVO_API int AA_indent(void);

/// Sets the level of indentation (0 at start); -1 adds one, -2 takes one away. Returns `level`.
KELVO_API int AA_set_indent(int level);

/// Prints the indentation and "ASSERT (file FILE, line LINE): MESSAGE", without a newline; a null
/// text is shown as (null). Does not stop the program. Result as of AA_debug_print, without the
/// indentation.
KELVO_API int Aa_print_assert(const char* file, int line, const char* message);

// --- Destination ---------------------------------------------------------------------------------

/// Selects the destination. `argument` is the name of the file for mode 2 (const char*, copied, told
/// apart byte by byte), the open stream for mode 3 (FILE*, stays the caller's and must stay open
/// while it is selected), and ignored otherwise.
///
/// A null name, or no memory, leaves everything as it is and says so at the old destination: "Cannot
/// open debug output file", "Cannot create debug file list" or "Cannot create debug file entry". A
/// null stream leaves the destination as it is, but closes its named file until the next print.
KELVO_API void AA_set_print_out(int mode, void* argument);

/// The current mode. In mode 2, and only then, also stores the name of the current file (owned by
/// the library, lives for the process) through `name`, which may be null.
KELVO_API int AA_get_print_out(const char** name);

}  // extern "C"

// --- Traces, switched off ------------------------------------------------------------------------

/// A trace switch that is always off. Kept for code that still mentions it.
class KELVO_API TdebugTrace {
  public:
    /// Records nothing; the texts are not kept.
    TdebugTrace(short level, const char* name, const char* description);
    ~TdebugTrace();
    TdebugTrace(const TdebugTrace& other);
    TdebugTrace& operator=(const TdebugTrace& other);

    /// Always 0.
    int on() const;

  private:
    static void signal_handler();
};

/// A trace callback that is never called.
class KELVO_API TdbgCbRegister {
  public:
    /// Registers nothing; both may be null.
    TdbgCbRegister(const char* name, void (*callback)(char*));
    TdbgCbRegister(const TdbgCbRegister& other);
    TdbgCbRegister& operator=(const TdbgCbRegister& other);
};
