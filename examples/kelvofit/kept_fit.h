// What the cache keeps of a fit: what takes long to find. The points are in the input, and the
// deviations from an edited surface are measured anew, so that neither is kept.
#pragma once

#include <string>
#include <string_view>

#include "fit_result.h"

namespace kelvo::fit {

/// The fit in few bytes.
std::string packed(const CloudResult& scattered);
/// Takes a packed fit over; the points are placed, those of the cloud are replaced. False when the
/// bytes are none, and `scattered` is useless then.
bool unpack(std::string_view bytes, const std::vector<Vec3>& points, CloudResult& scattered);

/// The same for the surfaces and errors of fitted patches.
std::string packedPatches(const FitResult& result);
/// `count` patches must be there.
bool unpackPatches(std::string_view bytes, std::size_t count, FitResult& result);

}  // namespace kelvo::fit
