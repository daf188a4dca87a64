#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#define KELVO_HAS_SINGLE_THREADED
#endif

#include "libBase/port.h"

namespace kelvo::port {

bool singleThreaded() {
#if defined(KELVO_HAS_SINGLE_THREADED)
    return __libc_single_threaded != 0;
#else
    return false;
#endif
}

}  // namespace kelvo::port
