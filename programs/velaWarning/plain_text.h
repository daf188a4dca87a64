// Text for terminals: harmless and of bounded width.
#pragma once

#include <string>
#include <vector>

namespace kelvo::velaWarning {

/// Lets the character widths of Unicode be known, whatever locale the environment names.
void useUnicode();

/// The lines of `text` in UTF-8, each at most `columns` (2 or more) wide, broken at blanks where
/// there are any. Control characters, which could drive the terminal, and bytes that are not UTF-8
/// become U+FFFD; tabs become blanks. An empty text is one empty line.
std::vector<std::string> wrapText(const std::string& text, int columns);

}  // namespace kelvo::velaWarning
