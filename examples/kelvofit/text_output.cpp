#include "text_output.h"

#include <charconv>

namespace kelvo::fit {
namespace {

constexpr char kReplacement[] = "\xEF\xBF\xBD";

/// The length of the UTF-8 sequence at the start of `text`; 0 when there is no valid one.
std::size_t sequenceLength(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned first = byte(0);
    if (first < 0x80) return 1;
    const std::size_t size = first < 0xC2   ? 0
                             : first < 0xE0 ? 2
                             : first < 0xF0 ? 3
                             : first < 0xF5 ? 4
                                            : 0;
    if (size == 0 || size > text.size()) return 0;
    for (std::size_t i = 1; i < size; ++i)
        if ((byte(i) & 0xC0) != 0x80) return 0;
    const bool overlong = (first == 0xE0 && byte(1) < 0xA0) || (first == 0xF0 && byte(1) < 0x90);
    const bool outside = (first == 0xED && byte(1) > 0x9F) || (first == 0xF4 && byte(1) > 0x8F);
    return overlong || outside ? 0 : size;
}

}  // namespace

void appendNumber(std::string& text, double value) {
    char digits[32];
    text.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
}

void appendRounded(std::string& text, double value, int digits) {
    char shown[40];
    const auto end =
        std::to_chars(shown, shown + sizeof shown, value, std::chars_format::general, digits).ptr;
    text.append(shown, end);
}

std::string rounded(double value, int digits) {
    std::string text;
    appendRounded(text, value, digits);
    return text;
}

std::string grouped(std::size_t count) {
    std::string text = std::to_string(count);
    for (std::size_t at = text.size(); at > 3;) text.insert(at -= 3, "\xE2\x80\x89");
    return text;
}

std::string validUtf8(std::string_view text) {
    std::string valid;
    while (!text.empty()) {
        const std::size_t size = sequenceLength(text);
        if (size == 0)
            valid += kReplacement;
        else
            valid += text.substr(0, size);
        text.remove_prefix(size == 0 ? 1 : size);
    }
    return valid;
}

std::string jsonString(std::string_view text) {
    constexpr char kHex[] = "0123456789abcdef";
    std::string json = "\"";
    for (char c : validUtf8(text)) {
        if (c == '"' || c == '\\') {
            json += '\\';
            json += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            json += "\\u00";
            json += kHex[c >> 4];
            json += kHex[c & 15];
        } else {
            json += c;
        }
    }
    return json + '"';
}

std::string xmlText(std::string_view text) {
    std::string xml;
    for (char c : validUtf8(text)) {
        switch (c) {
            case '&':
                xml += "&amp;";
                break;
            case '<':
                xml += "&lt;";
                break;
            case '>':
                xml += "&gt;";
                break;
            case '"':
                xml += "&quot;";
                break;
            default:
                if (static_cast<unsigned char>(c) < 0x20)
                    xml += kReplacement;
                else
                    xml += c;
        }
    }
    return xml;
}

}  // namespace kelvo::fit
