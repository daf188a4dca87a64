// Names fits for the cache by all that their result depends on.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "options.h"
#include "readers.h"

namespace kelvo::fit {

/// 36 characters that differ for different bytes: their name-based UUID by SHA-1 (RFC 4122).
std::string digestOf(std::string_view bytes);

/// The key of the fit to scattered points, which are blurred already. The same points from another
/// file, or kept in another kind of memory, have the same fit.
std::string keyOf(const std::vector<Vec3>& points, double tolerance, const Options& options);
/// The key of the fits to patches.
std::string keyOf(const PatchModel& model, const Options& options);

}  // namespace kelvo::fit
