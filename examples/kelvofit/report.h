// report.json: everything a run found out, for programs.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "fit_result.h"
#include "options.h"

namespace kelvo::fit {

/// Seconds by stage, in order.
using Timings = std::vector<std::pair<std::string, double>>;

/// Why the fit ended, in words.
const char* statusText(const FitResult& result);

/// The report as a JSON text.
std::string reportJson(const FitResult& result, const Options& options, const Timings& timings);

}  // namespace kelvo::fit
