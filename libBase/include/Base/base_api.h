// The export macro of libBase.
#pragma once

/// Marks a declaration that libBase exports; everything else stays inside the library.
#if defined(__GNUC__)
#define BASE_API __attribute__((visibility("default")))
#else
#define BASE_API
#endif
