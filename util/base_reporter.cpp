#include "KelvoBase/base_reporter.h"

#include <cmath>
#include <cstring>

#include "Base/rpt.h"

namespace {

// Relative deviations up to here count as none, and their place means nothing.
constexpr double kNoDeviation = 1e-9;
// A relative deviation below this is within the tolerance.
constexpr double kWithinTolerance = 1.0;

}  // namespace

TbaseReporter::TbaseReporter() : TbaseReporter(nullptr, 0) {}

TbaseReporter::TbaseReporter(const char* name, int loud) : loud_(loud) {
    setOptionName(name);
}

TbaseReporter::TbaseReporter(const TbaseReporter&) = default;
TbaseReporter& TbaseReporter::operator=(const TbaseReporter&) = default;
TbaseReporter::~TbaseReporter() = default;

void TbaseReporter::setOptionName(const char* name) {
    char kept[sizeof name_] = {};
    if (name) std::memcpy(kept, name, strnlen(name, sizeof name_ - 1));
    std::memcpy(name_, kept, sizeof name_);
}

int TbaseReporter::loud() const {
    return loud_;
}
int& TbaseReporter::loud() {
    return loud_;
}
int TbaseReporter::quit() const {
    return rptCheckAbort() != 0;
}

unsigned TbaseReporter::sleep(unsigned milliseconds) const {
    rptSleep(milliseconds);
    return milliseconds;
}

void TbaseReporter::tolReport(int iteration, double achieved, double requested) const {
    if (!loud_) return;
    if (achieved < requested)
        rptUser("%s:  Iteration %d.  Tolerance achieved: %6.4f (Requested %6.4f).", name_,
                iteration, achieved, requested);
    else
        rptUser("%s:  Iteration %d.  Tolerance achieved: %6.4f (Requested %6.4f).  (ESC to stop).",
                name_, iteration, achieved, requested);
}

void TbaseReporter::toleranceReport(int iteration, int max_iterations, double x, double y,
                                    double deviation) const {
    if (!loud_) return;
    if (std::fabs(deviation) <= kNoDeviation)
        rptStatus("%s: Fitting iteration %d (of max. %d). Rel. deviation: %6.4f.", name_, iteration,
                  max_iterations, deviation);
    else if (deviation >= kWithinTolerance && iteration < max_iterations)
        rptStatus(
            "%s: Fitting iteration %d (of max. %d). Rel. deviation: %6.4f at (%6.4f, %6.4f). "
            "(ESC to stop).",
            name_, iteration, max_iterations, deviation, x, y);
    else
        rptStatus("%s: Fitting iteration %d (of max. %d). Rel. deviation: %6.4f at (%6.4f, %6.4f).",
                  name_, iteration, max_iterations, deviation, x, y);
}

void TbaseReporter::percentageReport(double fraction) const {
    if (!loud_) return;
    rptStatus(" %s:  Constraint solving ... %4.1f%% completed", name_, fraction * 100);
}

void TbaseReporter::iterationsReport(int iteration) const {
    if (!loud_) return;
    rptStatus(" %s:  Constraint solving.  Iteration %d (ESC to stop).", name_, iteration);
}

void TbaseReporter::noMemoryReport() const {
    if (!loud_) return;
    rptStatus("%s: Not enough memory to complete this operation.", name_);
}
