// Plays an edit script on fitted surfaces, through the undo history.
#pragma once

#include <string>
#include <vector>

#include "edit_script.h"

namespace kelvo::fit {

/// A step of the history.
struct EditStep {
    std::string name;      // as in a menu: "Move Control Point"
    std::size_t line = 0;  // of the script
    bool done = false;     // false: undone
};

struct EditResult {
    std::vector<EditStep> history;  // oldest first
    std::string listing;            // what the script's list lines show
    bool atMark = false;            // the model is as it was at the last mark (or at the beginning)
    double largestMove = 0;         // of a control point, all edits together
};

/// Applies all edits to the surfaces; rows are raised along `up` (unit). Throws Failure with line
/// and column at the first edit that cannot be done; the surfaces are as before then.
EditResult applyEdits(const EditScript& script, const Vec3& up,
                      std::vector<SplineSurface>& surfaces);

}  // namespace kelvo::fit
