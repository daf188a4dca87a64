#include "linalg/kernels/instruction_level.h"

#include <cstdlib>
#include <cstring>

#include "linalg/kernels/vector_ops.h"

namespace kelvo::kernels {

// Valid before any constructor runs, so that static objects of a user may compute already.
const VectorTable* activeTable = &base::kVectorTable;

namespace {

// Set while loading, then only by forceLevel.
Level g_level = Level::kBase;  // of activeTable

const VectorTable* tableOf(Level level) {
    switch (level) {
        case Level::kBase:
            break;
#if defined(__x86_64__)
        case Level::kV2:
            return &v2::kVectorTable;
        case Level::kV3:
            return &v3::kVectorTable;
        case Level::kV4:
            return &v4::kVectorTable;
#else
        default:
            return nullptr;
#endif
    }
    return &base::kVectorTable;
}

[[gnu::constructor]] void chooseBestLevel() {
#if defined(__x86_64__)
    __builtin_cpu_init();
#endif
    const char* const named = std::getenv("KELVO_SIMD");
    for (Level level : kAllLevels) {
        forceLevel(level);
        if (named != nullptr && std::strcmp(named, nameOf(level)) == 0) return;
    }
}

}  // namespace

const char* nameOf(Level level) {
    constexpr const char* kNames[] = {"base", "v2", "v3", "v4"};
    return kNames[static_cast<int>(level)];
}

bool levelSupported(Level level) {
    switch (level) {
        case Level::kBase:
            return true;
#if defined(__x86_64__)
        case Level::kV2:
            return __builtin_cpu_supports("sse4.2") && __builtin_cpu_supports("popcnt");
        case Level::kV3:
            return levelSupported(Level::kV2) && __builtin_cpu_supports("avx2") &&
                   __builtin_cpu_supports("fma") && __builtin_cpu_supports("bmi") &&
                   __builtin_cpu_supports("bmi2");
        case Level::kV4:
            return levelSupported(Level::kV3) && __builtin_cpu_supports("avx512f") &&
                   __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512cd") &&
                   __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl");
#else
        default:
            return false;
#endif
    }
    return false;
}

Level activeLevel() {
    return g_level;
}

bool forceLevel(Level level) {
    if (!levelSupported(level)) return false;
    g_level = level;
    activeTable = tableOf(level);
    return true;
}

}  // namespace kelvo::kernels
