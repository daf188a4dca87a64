#include "Base/zo.h"

namespace zo {

// Out of line, so that the class has one home for its virtual table.
ReferenceCount::~ReferenceCount() = default;

}  // namespace zo
