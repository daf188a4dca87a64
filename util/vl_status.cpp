#include "KelvoBase/vl_status.h"

#include "Base/rpt.h"
#include "util/shown_text.h"
#include "util/status_codes.h"

namespace {

constexpr int kCodes = 32;
constexpr const char* kNames[kCodes] = {
    "NO ERROR",
    "ARGUMENT ERROR",
    "UNKNOWN",
    "MEMORY FAULT",
    "INVALID FUNCTION",
    "INVALID DATA",
    "ALTERNATE RESULT",
    "INCOMPATIBILITY",
    "NO ANIMATION",
    "WALK ERROR",
    "WALK TERMINATED",
    "WALK INCOMPLETE",
    "ITEM NOT FOUND",
    "REMOVAL ERROR",
    "CANNOT SORT",
    "UNEXPECTED NULL STRUCTURE",
    "ITEM FILTERED",
    "UNEXPECTED SWITCH CASE",
    "STORE",
    "RETRIEVE",
    "WDL ERROR",
    "INVALID OPTIONS",
    "FILE ERROR",
    "PICKLIST ERROR",
    "ANIMTRON METHOD ERROR",
    "ALREADY EXISTS",
    "MISSING CURVE(S)",
    "MISSING SURFACE(S)",
    "MISSING SKELETON",
    "SECURITY",
    "ABORTED",
    "EXPRESSION ERROR",
};

const char* nameOf(int code) {
    return kNames[code >= 0 && code < kCodes ? code : kelvo::util::kUnknown];
}

}  // namespace

extern "C" {

int Vl_err_ignore = 0;

int Vl_print_error(int code, const char* file, int line, const char* message) {
    using kelvo::util::shown;
    rptError("ERROR %s (file %s, line %d): %s", nameOf(code), shown(file), line, shown(message));
    return 1;
}

int Vl_print_conditional(int code, const char* file, int line, const char* message) {
    return code == kelvo::util::kNoError ? 1 : Vl_print_error(code, file, line, message);
}

}  // extern "C"
