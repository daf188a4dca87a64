// The command line.
#pragma once

#include <cstdint>
#include <string>

#include "placement.h"
#include "spline_fit.h"

namespace kelvo::fit {

struct Options {
    std::string input;
    std::string out;       // directory; by default named after the input
    std::string project;   // directory that holds projects; empty: the results go to `out`
    std::string name;      // of the project
    double tolerance = 0;  // units of the input; 0: a thousandth of the diagonal
    int maxSpans = 30;     // in each direction
    char axis = '\0';      // x, y, z, or none: the best plane
    Method method = Method::kAuto;
    double noise = 0;  // standard deviation in each coordinate, units of the input
    std::uint64_t seed = 1;
    int samples = 10;  // in each direction of a patch
    std::string unit;  // of the input, for labels only
    char up = '\0';    // y or z: the world's up axis; or none: as the model lies
    Placement placement;
    int turntable = 0;           // pictures of a whole turn
    std::string edit;            // script of edits; empty: none
    std::string debug;           // file of the log; empty: none
    std::string cacheDirectory;  // where fits are kept; empty: below the user's caches
    bool noCache = false;        // no fits are kept, nor taken
    bool scratch = false;        // the least-squares matrices outside of the heap
    bool quiet = false;
    bool done = false;  // --help or --version has been answered
};

/// Throws Failure for a command line that makes no sense. Prints the answer to --help and
/// --version.
Options parseOptions(int argc, char** argv);

}  // namespace kelvo::fit
