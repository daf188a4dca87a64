// Names for the status codes that this library itself sets.
#pragma once

namespace kelvo::util {

enum StatusCode : int {
    kNoError = 0,
    kArgumentError = 1,
    kUnknown = 2,
    kMemoryFault = 3,
    kInvalidFunction = 4,
    kInvalidData = 5,
    kIncompatibility = 7,
    kWalkTerminated = 10,
    kItemNotFound = 12,
    kCannotSort = 14,
    kUnexpectedNull = 15,
    kItemFiltered = 16,
};

inline void setStatus(int* status, int code) {
    if (status) *status = code;
}

/// Sets the status and gives the 0 (or null) that goes with it.
inline int fail(int* status, int code) {
    setStatus(status, code);
    return 0;
}
inline void* failNull(int* status, int code) {
    setStatus(status, code);
    return nullptr;
}

}  // namespace kelvo::util
