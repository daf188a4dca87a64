// Text of the result files: numbers that no locale changes, and strings made safe for a format.
#pragma once

#include <string>
#include <string_view>

namespace kelvo::fit {

/// Appends the shortest decimal that reads back as the same number.
void appendNumber(std::string& text, double value);
/// Appends `value` rounded to `digits` significant digits.
void appendRounded(std::string& text, double value, int digits);
/// The same as a text of its own.
std::string rounded(double value, int digits);
/// "12 345": digits in groups of three, thin spaces between.
std::string grouped(std::size_t count);

/// `text` as valid UTF-8: bytes that are none become U+FFFD.
std::string validUtf8(std::string_view text);
/// In quotes, for JSON.
std::string jsonString(std::string_view text);
/// For element content and attributes of XML; characters that XML forbids become U+FFFD.
std::string xmlText(std::string_view text);

}  // namespace kelvo::fit
