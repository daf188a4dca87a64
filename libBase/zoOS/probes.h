// The answers that stand in for the system's.
#pragma once

#include "Base/zo_os_system.h"

namespace kelvo::zoos {

/// The probes in force; members that are null are not replaced.
const zoOS::Probes& probes();

}  // namespace kelvo::zoos
