// The processor's instruction level that the kernels use. Chosen once while the library is loaded: the
// best one that processor and operating system support, or the one that the environment variable
// KELVO_SIMD names (base, v2, v3, v4) when that is lower. Another text counts for nothing.
#pragma once

namespace kelvo::kernels {

// kBase runs everywhere; the others are the x86-64 levels of the System V ABI (v2: SSE4.2, v3:
// AVX2, v4: AVX-512) and do not exist on other processors.
enum class Level { kBase, kV2, kV3, kV4 };

constexpr Level kAllLevels[] = {Level::kBase, Level::kV2, Level::kV3, Level::kV4};

/// base, v2, v3, v4
const char* nameOf(Level level);

/// True when this machine can run `level`.
bool levelSupported(Level level);

/// The level in use.
Level activeLevel();

/// For tests and benchmarks: uses `level` from now on. False, and nothing changes, when this
/// machine cannot run it. Not to be called while another thread computes.
bool forceLevel(Level level);

}  // namespace kelvo::kernels
