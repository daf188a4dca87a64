#include "libBase/zoUndo/shared_name.h"

#include <cstring>

namespace kelvo::zo_undo {
namespace {

// The name acquired last, for the next one who asks. Borrowed; null when it has gone.
SharedName* g_latest = nullptr;

}  // namespace

SharedName* SharedName::acquire(const char* text) {
    if (!text || !*text) return nullptr;
    if (g_latest && std::strcmp(g_latest->text(), text) == 0) {
        ++g_latest->owners_;
        return g_latest;
    }
    g_latest = new SharedName(text);
    return g_latest;
}

void SharedName::release(SharedName* name) noexcept {
    if (!name || --name->owners_ != 0) return;
    if (g_latest == name) g_latest = nullptr;
    delete name;
}

}  // namespace kelvo::zo_undo
