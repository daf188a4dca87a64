#include <cstdarg>
#include <string>
#include <utility>

#include "Base/zo_util.h"

namespace zoUtil {
namespace {

BASE_PRINTF(1, 0) std::string formatted(const char* format, va_list values) {
    va_list again;
    va_copy(again, values);
    const int length = VL_vsnprintf(nullptr, 0, format, again);
    va_end(again);
    if (length < 0) return format;
    std::string text(static_cast<std::size_t>(length), '\0');
    VL_vsnprintf(text.data(), text.size() + 1, format, values);
    return text;
}

}  // namespace

Error::Error(int code, const char* format, ...) : code_(code) {
    if (format == nullptr) return;
    va_list values;
    va_start(values, format);
    message_ = formatted(format, values);
    va_end(values);
}

}  // namespace zoUtil
