// The strings of the class interfaces: CString holds bytes (UTF-8 where it is shown to people),
// IString holds wide characters, one 32-bit Unicode code point each.
//   1. Both are values: a copy is independent, a null pointer makes an empty string.
//   2. Comparison is by unsigned byte or by code point, never by locale; the two orders agree.
//   3. Between the two, text is converted as UTF-8 whatever the locale is.
#pragma once

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <string>

#include "Base/base_api.h"

namespace zoString {

/// Narrow string.
class BASE_API CString {
  public:
    CString() = default;
    /// Copies a terminated text; null makes an empty string.
    CString(const char* text);
    CString(const std::string& text);
    CString(std::string&& text) noexcept;

    /// The terminated text; never null. Valid until the string changes.
    const char* c_str() const noexcept { return text_.c_str(); }
    /// The same text as a standard string.
    const std::string& str() const noexcept { return text_; }
    /// Number of bytes.
    unsigned length() const noexcept { return static_cast<unsigned>(text_.size()); }
    bool isEmpty() const noexcept { return text_.empty(); }

    /// -1, 0 or 1: this string comes before `other`, is equal to it, comes after it.
    int compare(const CString& other) const noexcept;

    /// Appends; a string may be appended to itself.
    CString& operator+=(const CString& tail);

  private:
    std::string text_;
};

/// Wide string.
class BASE_API IString {
  public:
    IString() = default;
    /// Copies a terminated text; null makes an empty string.
    IString(const wchar_t* text);
    IString(const std::wstring& text);
    IString(std::wstring&& text) noexcept;
    /// Decodes UTF-8; null makes an empty string. Every byte sequence that is not well-formed
    /// (stray, overlong, a surrogate, beyond U+10FFFF, cut short) becomes U+FFFD: one for each
    /// longest prefix of a character, as Unicode recommends.
    IString(const char* utf8);
    IString(const CString& utf8);

    /// The terminated text; never null. Valid until the string changes.
    const wchar_t* c_str() const noexcept { return text_.c_str(); }
    /// The same text as a standard string.
    const std::wstring& str() const noexcept { return text_; }
    /// Number of wide characters.
    unsigned length() const noexcept { return static_cast<unsigned>(text_.size()); }
    bool isEmpty() const noexcept { return text_.empty(); }

    /// The text in UTF-8. Values that are no code points become U+FFFD.
    CString toMultibyte() const;

    /// -1, 0 or 1: this string comes before `other`, is equal to it, comes after it.
    int compare(const IString& other) const noexcept;

    /// Appends; a string may be appended to itself.
    IString& operator+=(const IString& tail);

  private:
    std::wstring text_;
};

// Either side may be a literal: it converts.
inline bool operator==(const CString& a, const CString& b) noexcept {
    return a.str() == b.str();
}
inline bool operator!=(const CString& a, const CString& b) noexcept {
    return !(a == b);
}
inline bool operator<(const CString& a, const CString& b) noexcept {
    return a.compare(b) < 0;
}
inline bool operator>(const CString& a, const CString& b) noexcept {
    return b < a;
}
inline bool operator<=(const CString& a, const CString& b) noexcept {
    return !(b < a);
}
inline bool operator>=(const CString& a, const CString& b) noexcept {
    return !(a < b);
}
inline CString operator+(CString head, const CString& tail) {
    return head += tail;
}

inline bool operator==(const IString& a, const IString& b) noexcept {
    return a.str() == b.str();
}
inline bool operator!=(const IString& a, const IString& b) noexcept {
    return !(a == b);
}
inline bool operator<(const IString& a, const IString& b) noexcept {
    return a.compare(b) < 0;
}
inline bool operator>(const IString& a, const IString& b) noexcept {
    return b < a;
}
inline bool operator<=(const IString& a, const IString& b) noexcept {
    return !(b < a);
}
inline bool operator>=(const IString& a, const IString& b) noexcept {
    return !(a < b);
}
inline IString operator+(IString head, const IString& tail) {
    return head += tail;
}

/// Writes the bytes.
BASE_API std::ostream& operator<<(std::ostream& out, const CString& text);
/// Writes the text as UTF-8.
BASE_API std::ostream& operator<<(std::ostream& out, const IString& text);

}  // namespace zoString

template <>
struct std::hash<zoString::CString> {
    std::size_t operator()(const zoString::CString& text) const noexcept {
        return std::hash<std::string>()(text.str());
    }
};
template <>
struct std::hash<zoString::IString> {
    std::size_t operator()(const zoString::IString& text) const noexcept {
        return std::hash<std::wstring>()(text.str());
    }
};
