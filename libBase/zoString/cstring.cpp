#include <ostream>
#include <utility>

#include "Base/zo_string.h"

namespace zoString {

CString::CString(const char* text) : text_(text != nullptr ? text : "") {}

CString::CString(const std::string& text) : text_(text) {}

CString::CString(std::string&& text) noexcept : text_(std::move(text)) {}

int CString::compare(const CString& other) const noexcept {
    const int order = text_.compare(other.text_);
    return (order > 0) - (order < 0);
}

CString& CString::operator+=(const CString& tail) {
    text_ += tail.text_;
    return *this;
}

std::ostream& operator<<(std::ostream& out, const CString& text) {
    return out << text.str();
}

}  // namespace zoString
