// The end of a program that used an index a container does not have.
#pragma once

namespace kelvo::util {

/// Reports the `index`, what is wrong with it ("bad row", say) and the place that noticed it
/// through rptError, then aborts the process. Takes the place from the caller, since its texts are
/// fixed.
[[noreturn]] void failBoundsCheck(const char* what, int index, const char* file, int line);

}  // namespace kelvo::util
