// The command line of zocached.
#pragma once

#include <string>
#include <vector>

#include "programs/zocached/log.h"

namespace kelvo::zocached {

enum class Task { kServe, kStatus, kCheck, kHelp, kVersion, kMistake };

struct Options {
    int port = 0;                ///< of the client that waits for this server
    std::string directory;       ///< of kStatus and kCheck
    int idleSeconds = 30 * 60;   ///< without a client, until the server ends; 0: never ends
    Level level = Level::kInfo;  ///< of the log file
};

extern const char* const kHelp;

/// Reads `words`, the arguments without the program's name. For kMistake `mistake` says what is
/// wrong.
Task parseOptions(const std::vector<std::string>& words, Options& options, std::string& mistake);

/// The words of the environment variable ZOCACHED_OPTIONS, for servers that a library starts: they
/// count before the arguments. Only settings are taken, and only when all of them are right.
void applyEnvironment(const char* text, Options& options);

}  // namespace kelvo::zocached
