// The place of the installation, from whatever the system calls the executable: getVelaPath.
#include <cstdlib>
#include <string>

#include "Base/zo_os_system.h"
#include "KelvoBase/db_filename.h"
#include "fuzz/fuzz.h"

namespace {

constexpr std::size_t kLongest = 259;  // characters that the answer's buffer holds

std::string g_program;

std::string expected(std::string path) {
    path = path.substr(0, kLongest);
    const std::size_t last = path.find_last_of("/\\");
    if (last != std::string::npos) path.erase(last);
    for (std::size_t i = 0; i < path.size(); ++i)
        if ((path[i] == '/' || path[i] == '\\') && path.compare(i + 1, 3, "bin") == 0)
            return path.substr(0, i);
    return path;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    g_program = kelvo::fuzz::Input(data, size).text();
    zoOS::Probes probes;
    probes.moduleFileName = [] { return g_program.c_str(); };
    zoOS::setProbes(&probes);
    unsetenv("VELA_LOCATION");
    kelvo::fuzz::require(getVelaPath() == expected(g_program), "cut at the first bin");
    zoOS::setProbes(nullptr);
    return 0;
}
