// Redraw requests: operations note what the application has to draw again. Nothing is drawn here;
// the application asks for what is pending at its next redraw, draws, and clears.
//   Main thread only.
#pragma once

#include "KelvoBase/kelvo_api.h"

/// The sets of planes that can be requested one by one.
enum KelvoRedraw : int {
    KelvoRedrawActivePlanes = 1,
    KelvoRedrawModelPlanes = 2,
    KelvoRedrawTemplatePlanes = 3,
    KelvoRedrawWindowPlanes = 4
};

extern "C" {

/// Requests a redraw of the active planes.
KELVO_API void redraw_add_active_planes(void);
/// Requests a redraw of the model planes.
KELVO_API void redraw_add_model_planes(void);
/// Requests a redraw of the template planes.
KELVO_API void redraw_add_template_planes(void);
/// Requests a redraw of the window planes.
KELVO_API void redraw_add_window_planes(void);
/// Requests a redraw of everything.
KELVO_API void redraw_add_all(void);

/// What has been requested since the last redraw_clear(), one bit each: bit `1u << w` for the
/// planes w of KelvoRedraw, bit 0 for everything. A request for everything sets all of them. 0 when
/// nothing has to be drawn.
KELVO_API unsigned redraw_pending(void);
/// Forgets all requests.
KELVO_API void redraw_clear(void);

}  // extern "C"
