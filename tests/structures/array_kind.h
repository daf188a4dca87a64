// A kind as an application writes one: a growable array, by the published table alone. Positions are
// indices plus one, so that none is null.
#pragma once

#include "KelvoBase/ds_structures.h"

namespace kelvo::test {

DsMethods* arrayMethods();

/// Arrays that are allocated and not yet destroyed.
extern int g_liveArrays;

}  // namespace kelvo::test
