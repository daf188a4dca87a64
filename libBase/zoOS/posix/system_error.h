// Errors of the system in words.
#pragma once

#include <cerrno>
#include <cstring>

#include "Base/zo_util.h"

namespace kelvo::zoos {

/// "cannot <verb> "<path>": <why>" with the error number as code.
inline zoUtil::Error systemError(int error, const char* verb, const char* path) {
    return zoUtil::Error(error, "cannot %s \"%s\": %s", verb, path != nullptr ? path : "",
                         std::strerror(error));
}

/// Repeats a system call that a signal has interrupted.
template <class Call>
auto uninterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) result = call();
    return result;
}

}  // namespace kelvo::zoos
