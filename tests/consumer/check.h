// The one helper of these programs: says what is not so, and remembers it for the exit code.
#pragma once

#include <cstdio>

inline int failures = 0;

#define CHECK(condition)                                                                 \
    do {                                                                                 \
        if (!(condition)) {                                                              \
            std::fprintf(stderr, "%s:%d: not so: %s\n", __FILE__, __LINE__, #condition); \
            ++failures;                                                                  \
        }                                                                                \
    } while (0)
