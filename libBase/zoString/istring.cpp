#include <ostream>
#include <string_view>
#include <utility>

#include "Base/zo_string.h"

namespace zoString {
namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kLastCodePoint = 0x10FFFF;

bool isCodePoint(char32_t c) {
    return c <= kLastCodePoint && (c < 0xD800 || c > 0xDFFF);
}

// What a lead byte promises: the bits it carries, how many bytes follow, and the range of the first
// of them, which is narrower than 80..BF where overlong forms, surrogates or values beyond the last
// code point begin.
struct Lead {
    char32_t bits;
    int following;  // -1: no lead byte
    unsigned char low, high;
};

Lead lead(unsigned char b) {
    if (b < 0x80) return {b, 0, 0, 0};
    if (b < 0xC2) return {0, -1, 0, 0};
    if (b < 0xE0) return {b & 0x1Fu, 1, 0x80, 0xBF};
    if (b < 0xF0) {
        const unsigned char low = b == 0xE0 ? 0xA0 : 0x80, high = b == 0xED ? 0x9F : 0xBF;
        return {b & 0x0Fu, 2, low, high};
    }
    if (b < 0xF5) {
        const unsigned char low = b == 0xF0 ? 0x90 : 0x80, high = b == 0xF4 ? 0x8F : 0xBF;
        return {b & 0x07u, 3, low, high};
    }
    return {0, -1, 0, 0};
}

// Takes one character off the front of `text`, or the longest piece that could have begun one.
char32_t takeCharacter(std::string_view& text) {
    Lead l = lead(static_cast<unsigned char>(text.front()));
    text.remove_prefix(1);
    if (l.following < 0) return kReplacement;
    for (; l.following > 0; --l.following) {
        const unsigned char b = text.empty() ? 0 : static_cast<unsigned char>(text.front());
        if (b < l.low || b > l.high) return kReplacement;
        text.remove_prefix(1);
        l.bits = (l.bits << 6) | (b & 0x3Fu);
        l.low = 0x80;
        l.high = 0xBF;
    }
    return l.bits;
}

std::wstring decode(std::string_view utf8) {
    std::wstring text;
    text.reserve(utf8.size());
    while (!utf8.empty()) text += static_cast<wchar_t>(takeCharacter(utf8));
    return text;
}

void encode(char32_t c, std::string& utf8) {
    const auto put = [&utf8](char32_t byte) { utf8 += static_cast<char>(byte); };
    const auto tail = [&](int shift) { put(0x80 | ((c >> shift) & 0x3F)); };
    if (c < 0x80) return put(c);
    if (c < 0x800) {
        put(0xC0 | (c >> 6));
    } else if (c < 0x10000) {
        put(0xE0 | (c >> 12));
        tail(6);
    } else {
        put(0xF0 | (c >> 18));
        tail(12);
        tail(6);
    }
    tail(0);
}

}  // namespace

IString::IString(const wchar_t* text) : text_(text != nullptr ? text : L"") {}

IString::IString(const std::wstring& text) : text_(text) {}

IString::IString(std::wstring&& text) noexcept : text_(std::move(text)) {}

IString::IString(const char* utf8) : text_(utf8 != nullptr ? decode(utf8) : std::wstring()) {}

IString::IString(const CString& utf8) : text_(decode(utf8.str())) {}

CString IString::toMultibyte() const {
    std::string utf8;
    utf8.reserve(text_.size());
    for (const wchar_t w : text_) {
        const char32_t c = static_cast<char32_t>(w);
        encode(isCodePoint(c) ? c : kReplacement, utf8);
    }
    return CString(std::move(utf8));
}

int IString::compare(const IString& other) const noexcept {
    const int order = text_.compare(other.text_);
    return (order > 0) - (order < 0);
}

IString& IString::operator+=(const IString& tail) {
    text_ += tail.text_;
    return *this;
}

std::ostream& operator<<(std::ostream& out, const IString& text) {
    return out << text.toMultibyte();
}

}  // namespace zoString
