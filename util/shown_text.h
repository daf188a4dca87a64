// Texts of callers in messages.
#pragma once

namespace kelvo::util {

/// The text itself, or something that can be printed in its place.
inline const char* shown(const char* text) {
    return text ? text : "(null)";
}

}  // namespace kelvo::util
