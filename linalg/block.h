// Making storage blocks from inside the library.
#pragma once

#include "KelvoBase/vec.h"

namespace kelvo::linalg {

/// new RWBlock(count, elementSize), in one call: that expression goes through the table of exported
/// symbols for the record and for the constructor, which costs as much as a small sum.
RWBlock* newBlock(unsigned count, unsigned elementSize);

}  // namespace kelvo::linalg
