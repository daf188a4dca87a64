#include "KelvoBase/redraw.h"

namespace {

// What has been requested, in the bits of redraw_pending().
unsigned g_pending = 0;

void request(KelvoRedraw which) {
    g_pending |= 1u << which;
}

}  // namespace

extern "C" {

void redraw_add_active_planes(void) {
    request(KelvoRedrawActivePlanes);
}
void redraw_add_model_planes(void) {
    request(KelvoRedrawModelPlanes);
}
void redraw_add_template_planes(void) {
    request(KelvoRedrawTemplatePlanes);
}
void redraw_add_window_planes(void) {
    request(KelvoRedrawWindowPlanes);
}
void redraw_add_all(void) {
    g_pending = (1u << (KelvoRedrawWindowPlanes + 1)) - 1;
}

unsigned redraw_pending(void) {
    return g_pending;
}
void redraw_clear(void) {
    g_pending = 0;
}

}  // extern "C"
