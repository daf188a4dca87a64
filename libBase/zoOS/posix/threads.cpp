#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#define KELVO_HAS_SINGLE_THREADED
#endif

#include "libBase/port.h"

namespace kelvo::port {

#if defined(KELVO_HAS_SINGLE_THREADED)
const char* const oneThreadFlag = &__libc_single_threaded;
#else
const char* const oneThreadFlag = "";
#endif

}  // namespace kelvo::port
