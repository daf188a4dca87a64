#include "libBase/rpt/status_text.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace kelvo::rpt {
namespace {

struct Range {
    char32_t first, last;
};

// Combining marks and other characters without a column of their own; the scripts of Europe and the
// marks of general use are enough for a status line.
constexpr Range kNoColumn[] = {{0x0300, 0x036F}, {0x0483, 0x0489}, {0x0591, 0x05BD},
                               {0x1AB0, 0x1AFF}, {0x1DC0, 0x1DFF}, {0x200B, 0x200F},
                               {0x202A, 0x202E}, {0x2060, 0x2064}, {0x20D0, 0x20FF},
                               {0xFE00, 0xFE0F}, {0xFE20, 0xFE2F}, {0xFEFF, 0xFEFF}};

// East Asian wide and fullwidth blocks (Unicode Annex 11) and emoji.
constexpr Range kTwoColumns[] = {
    {0x1100, 0x115F},   {0x2E80, 0x303E},   {0x3041, 0xA4CF},  {0xA960, 0xA97F}, {0xAC00, 0xD7A3},
    {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},   {0xFF00, 0xFF60},  {0xFFE0, 0xFFE6}, {0x1F300, 0x1F64F},
    {0x1F680, 0x1F6FF}, {0x1F900, 0x1F9FF}, {0x20000, 0x3FFFD}};

template <std::size_t n>
bool contains(const Range (&ranges)[n], char32_t c) {
    return std::any_of(std::begin(ranges), std::end(ranges),
                       [c](Range r) { return c >= r.first && c <= r.last; });
}

int columnsOf(char32_t c) {
    if (c < 0x0300) return 1;
    if (contains(kNoColumn, c)) return 0;
    return contains(kTwoColumns, c) ? 2 : 1;
}

// Length in bytes of the character at `text`, 0 when it is not UTF-8. Loose about what the terminal
// sorts out itself (surrogates, overlong forms).
std::size_t characterAt(const char* text, char32_t& character) {
    const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    character = byte(0);
    if (character < 0x80) return 1;
    const std::size_t length = character >= 0xF8   ? 0
                               : character >= 0xF0 ? 4
                               : character >= 0xE0 ? 3
                               : character >= 0xC0 ? 2
                                                   : 0;
    character &= length == 4 ? 0x07u : length == 3 ? 0x0Fu : 0x1Fu;
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) return 0;
        character = (character << 6) | (byte(i) & 0x3Fu);
    }
    return length;
}

}  // namespace

void fitStatus(const char* text, int columns, char* line, std::size_t size) {
    char* const end = line + size - 1;
    while (*text != '\0' && std::strcmp(text, "\n") != 0) {
        char32_t character;
        std::size_t length = characterAt(text, character);
        const char* shown = text;
        if (length == 0) shown = "?", character = '?';
        if (character < ' ' || (character >= 0x7F && character < 0xA0)) shown = " ";
        const std::size_t bytes = shown == text ? length : 1;
        columns -= shown == text ? columnsOf(character) : 1;
        if (columns < 0 || bytes > static_cast<std::size_t>(end - line)) break;
        line = std::copy_n(shown, bytes, line);
        text += std::max<std::size_t>(length, 1);
    }
    *line = '\0';
}

}  // namespace kelvo::rpt
