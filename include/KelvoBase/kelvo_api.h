// What every exported header of libKelvoBase needs: the export macro and the integer type whose
// width the interface fixes.
#pragma once

#include <cstdint>

/// Marks a declaration that libKelvoBase exports; everything else stays inside the library.
#if defined(__GNUC__)
#define KELVO_API __attribute__((visibility("default")))
#else
#define KELVO_API
#endif

/// The signed 64-bit integer of the interface (sizes and times). One type on every platform, so
/// that overrides of virtual functions keep matching.
typedef std::int64_t int64;
namespace zoKelvoBase {
using ::int64;
}
