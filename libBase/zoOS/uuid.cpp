#include <algorithm>
#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>

#include "Base/zo_os_uuid.h"

namespace zoOS {

Uuid Uuid::generate() {
    const boost::uuids::uuid random = boost::uuids::random_generator_pure()();
    Uuid result;
    std::copy(random.begin(), random.end(), result.bytes_.begin());
    return result;
}

zoString::CString Uuid::asString() const {
    boost::uuids::uuid id;
    std::copy(bytes_.begin(), bytes_.end(), id.begin());
    return boost::uuids::to_string(id);
}

}  // namespace zoOS
