// Making storage blocks from inside the library.
#pragma once

#include "KelvoBase/vec.h"

namespace kelvo::linalg {

/// new RWBlock(count, elementSize), or a small block that has lost its holders. (The expression itself
/// goes through the table of exported symbols twice, which costs as much as a small sum.)
RWBlock* newBlock(unsigned count, unsigned elementSize);

}  // namespace kelvo::linalg
