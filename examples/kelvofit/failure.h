// The one way in which a run of kelvofit fails: a sentence for the user, thrown up to main.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

namespace kelvo::fit {

/// What went wrong, with the place in front where there is one ("FILE:LINE:COL: ...").
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A place in an input file. Lines and columns (bytes) count from 1; 0 means that none applies.
struct Place {
    std::string file;
    std::size_t line = 0;
    std::size_t column = 0;
};

/// "FILE:LINE:COL: what", without the parts that `place` lacks.
[[noreturn]] inline void failAt(const Place& place, const std::string& what) {
    std::string text = place.file;
    if (place.line != 0) text += ":" + std::to_string(place.line);
    if (place.column != 0) text += ":" + std::to_string(place.column);
    throw Failure(text + ": " + what);
}

}  // namespace kelvo::fit
