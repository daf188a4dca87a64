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
constexpr Identity kIdentity = {};
template <>
constexpr Identity kIdentity<double> = {"DoubleVec", kDoubleVecCode, "DoubleVecPick",
                                        kDoubleVecPickCode};
template <>
constexpr Identity kIdentity<int> = {"IntVec", kIntVecCode, "IntVecPick", kIntVecPickCode};
template <>
constexpr Identity kIdentity<signed char> = {"SCharVec", kSCharVecCode, "SCharVecPick",
                                             kSCharVecPickCode};

}  // namespace kelvo::linalg
