#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#define KELVO_HAS_SINGLE_THREADED
#endif

#include "libBase/port.h"

namespace kelvo::port {

#if defined(KELVO_HAS_SINGLE_THREADED)
constinit const char* const singleThreadFlag = &__libc_single_threaded;
#else
constinit const char* const singleThreadFlag = "";
#endif

}  // namespace kelvo::port
