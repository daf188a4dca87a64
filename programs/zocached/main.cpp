// zocached: keeps the index of a cache directory for all processes of one user.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "Base/zo_util.h"
#include "programs/zocached/options.h"
#include "programs/zocached/report.h"
#include "programs/zocached/serve.h"

namespace {

using namespace kelvo::zocached;

constexpr int kFailed = 1, kMistake = 2;

int run(const std::vector<std::string>& words) {
    Options options;
    applyEnvironment(std::getenv("ZOCACHED_OPTIONS"), options);
    std::string mistake;
    switch (parseOptions(words, options, mistake)) {
        case Task::kServe:
            return serve(options);
        case Task::kStatus:
            return reportStatus(options.directory);
        case Task::kCheck:
            return reportCheck(options.directory);
        case Task::kHelp:
            std::fputs(kHelp, stdout);
            return 0;
        case Task::kVersion:
            std::puts("zocached " ZOCACHED_VERSION);
            return 0;
        case Task::kMistake:
            break;
    }
    std::fprintf(stderr, "zocached: %s (see zocached --help)\n", mistake.c_str());
    return kMistake;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc));
    } catch (const zoUtil::Error& error) {
        logLine(Level::kError, "%s", error.message().c_str());
    } catch (const std::exception& error) {
        logLine(Level::kError, "%s", error.what());
    }
    return kFailed;
}
