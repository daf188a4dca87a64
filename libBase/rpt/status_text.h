// Fits a text into the one line of a terminal that a status has.
#pragma once

#include <cstddef>

namespace kelvo::rpt {

/// Copies the beginning of a UTF-8 text that takes at most `columns` columns and `size` - 1 bytes
/// into `line`, terminated. Control characters become blanks, except a line feed at the very end,
/// which goes; bytes that are no UTF-8 become '?'.
void fitStatus(const char* text, int columns, char* line, std::size_t size);

}  // namespace kelvo::rpt
