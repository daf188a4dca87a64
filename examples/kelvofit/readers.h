// The input formats. Each reader throws Failure with file, line and column at the first fault.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "item_list.h"
#include "text_file.h"
#include "vec3.h"

namespace kelvo::fit {

/// Bicubic Bezier patches over shared control points.
struct PatchModel {
    std::vector<Vec3> points;
    ItemList<std::array<std::size_t, 16>> patches;  // 4 x 4 point numbers, row after row
};

enum class InputKind { kPatches, kXyz, kObj, kPly };

/// Tells the kind by the name's ending, whatever its case; throws Failure for any other.
InputKind inputKind(const std::string& path);

/// "x y z" a line; # starts a comment, blank lines are skipped.
std::vector<Vec3> readXyz(TextFile& file);
/// The "v" lines of a Wavefront OBJ; what follows x y z (weight, colour) is checked, not used.
std::vector<Vec3> readObj(TextFile& file);
/// The elements "vertex" of an ascii PLY, whatever the order of elements and properties.
std::vector<Vec3> readPly(TextFile& file);
/// "v x y z" control points numbered from 0, "p i0 .. i15" patches; # starts a comment.
PatchModel readPatches(TextFile& file);

/// Reads points with the reader of `kind` (not kPatches).
std::vector<Vec3> readPoints(InputKind kind, TextFile& file);

}  // namespace kelvo::fit
