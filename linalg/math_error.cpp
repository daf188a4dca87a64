#include "KelvoBase/math_error.h"

#include <cstdlib>

#include "Base/rpt.h"

using kelvo::linalg::kAsInCatalog;
using kelvo::linalg::kContinue;
using kelvo::linalg::kNoClassCode;

namespace {

// The registered catalogs in the order of registration. Filled during start-up, so it must be
// initialised before any constructor runs.
constinit MessageCatalog* g_catalogs = nullptr;

void dispatch(MathError error, va_list args) {
    const MathErrorHandler handler = mathErrorHandler ? mathErrorHandler : defaultMathErrorHandler;
    handler(error.id, error.severity, error.classCode, args);
}

}  // namespace

MathErrorHandler mathErrorHandler = defaultMathErrorHandler;

MathErrorHandler setMathErrorHandler(MathErrorHandler handler) {
    const MathErrorHandler previous = mathErrorHandler;
    mathErrorHandler = handler ? handler : defaultMathErrorHandler;
    return previous;
}

void defaultMathErrorHandler(unsigned short id, int severity, unsigned short, va_list args) {
    if (id == 0) return;
    rptError("** ");
    if (const MessageCatalog::Entry* entry = lookupMessage(id)) {
        rptVError(entry->format, args);
        rptError(".\n");
        if (severity == kAsInCatalog) severity = entry->severity;
        if (severity == kContinue) {
            rptError("** Processing continues.\n");
            return;
        }
    } else {
        rptError("Error number 0x%hx.", id);
    }
    rptError("** Processing terminated.\n");
    std::abort();
}

void reportMathError(MathError error, ...) {
    va_list args;
    va_start(args, error);
    dispatch(error, args);
    va_end(args);
}

void reportMathErrorId(unsigned id, ...) {
    va_list args;
    va_start(args, id);
    dispatch({static_cast<unsigned short>(id), kAsInCatalog, kNoClassCode}, args);
    va_end(args);
}

void registerMessageCatalog(MessageCatalog* catalog) {
    if (!catalog) return;
    MessageCatalog** end = &g_catalogs;
    for (; *end; end = &(*end)->next) {
        if (*end == catalog) return;
    }
    catalog->next = nullptr;
    *end = catalog;
}

const MessageCatalog::Entry* lookupMessage(unsigned short id) {
    const unsigned index = id & 0xFFFu;
    for (const MessageCatalog* c = g_catalogs; c; c = c->next) {
        if (c->number == id >> 12) return index < c->count ? &c->entries[index] : nullptr;
    }
    return nullptr;
}
