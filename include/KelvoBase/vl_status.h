// Status codes: how the flat functions say what went wrong.
//   1. A function with a trailing `int* status` sets it to 0 first and to a code when it fails; the
//      pointer may be null.
//   2. Pass &Vl_err_ignore where a status pointer is wanted but its value is not. (Some functions
//      treat a null status differently; their comments say so.)
//   3. Nothing is printed unless one of the printers below is called.
#pragma once

#include "KelvoBase/kelvo_api.h"

extern "C" {

/// Where statuses go that nobody reads. 0 at load, and again when the first kind is registered.
KELVO_API extern int Vl_err_ignore;

/// Reports "ERROR NAME (file FILE, line LINE): MESSAGE" through rptError, without a newline; NAME is
/// the name of `code`, for example ITEM NOT FOUND for 12. A code outside 0..31 is shown as UNKNOWN
/// and a null text as (null). Always 1.
///
///      0 NO ERROR            8 NO ANIMATION       16 ITEM FILTERED            24 ANIMTRON METHOD ERROR
///      1 ARGUMENT ERROR      9 WALK ERROR         17 UNEXPECTED SWITCH CASE   25 ALREADY EXISTS
///      2 UNKNOWN            10 WALK TERMINATED    18 STORE                    26 MISSING CURVE(S)
///      3 MEMORY FAULT       11 WALK INCOMPLETE    19 RETRIEVE                 27 MISSING SURFACE(S)
///      4 INVALID FUNCTION   12 ITEM NOT FOUND     20 WDL ERROR                28 MISSING SKELETON
///      5 INVALID DATA       13 REMOVAL ERROR      21 INVALID OPTIONS          29 SECURITY
///      6 ALTERNATE RESULT   14 CANNOT SORT        22 FILE ERROR               30 ABORTED
///      7 INCOMPATIBILITY    15 UNEXPECTED NULL    23 PICKLIST ERROR           31 EXPRESSION ERROR
///                              STRUCTURE
KELVO_API int Vl_print_error(int code, const char* file, int line, const char* message);

/// The same, but silent when `code` is 0. Always 1.
KELVO_API int Vl_print_conditional(int code, const char* file, int line, const char* message);

}  // extern "C"
