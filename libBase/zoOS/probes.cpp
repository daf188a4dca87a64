#include "libBase/zoOS/probes.h"

namespace {

// Lives for the process; set while one thread runs.
zoOS::Probes g_probes;

}  // namespace

const zoOS::Probes& kelvo::zoos::probes() {
    return g_probes;
}

void zoOS::setProbes(const Probes* probes) {
    g_probes = probes != nullptr ? *probes : Probes();
}
