// Names and codes under which the classes report.
#pragma once

#include "KelvoBase/vec.h"

namespace kelvo::linalg {

struct Identity {
    const char* vec;
    ClassCode vecCode;
    const char* pick;
    ClassCode pickCode;
};

template <class T>
inline constexpr Identity kIdentity = {};
template <>
inline constexpr Identity kIdentity<double> = {"DoubleVec", kDoubleVecCode, "DoubleVecPick",
                                               kDoubleVecPickCode};
template <>
inline constexpr Identity kIdentity<int> = {"IntVec", kIntVecCode, "IntVecPick", kIntVecPickCode};
template <>
inline constexpr Identity kIdentity<signed char> = {"SCharVec", kSCharVecCode, "SCharVecPick",
                                                    kSCharVecPickCode};

}  // namespace kelvo::linalg
