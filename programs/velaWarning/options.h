// The command line of velaWarning.
#pragma once

#include <string>

#include "programs/velaWarning/message.h"

namespace kelvo::velaWarning {

/// What a command line asks for.
enum class Request { kShow, kHelp, kVersion, kMistake };

/// Reads the command line into `message`. For kMistake, `mistake` says what is wrong.
Request parseOptions(int argc, char** argv, Message& message, std::string& mistake);

/// The text of --help.
extern const char* const kHelp;

}  // namespace kelvo::velaWarning
