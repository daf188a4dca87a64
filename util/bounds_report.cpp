#include "util/bounds_report.h"

#include <cstdlib>

#include "Base/rpt.h"

namespace kelvo::util {

void failBoundsCheck(const char* what, int index, const char* file, int line) {
    rptError("**** %s ( %s, %d ) in FILE %s LINE %d\n", "Bounds checking", what, index, file, line);
    std::abort();
}

}  // namespace kelvo::util
