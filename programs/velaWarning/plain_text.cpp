#include "programs/velaWarning/plain_text.h"

#include <clocale>
#include <cwchar>

#include "Base/zo_string.h"

namespace kelvo::velaWarning {
namespace {

constexpr wchar_t kReplacement = 0xFFFD;
constexpr int kTabColumns = 8;

// C0, DEL and C1 controls, and the marks that reorder what follows them.
bool isControl(wchar_t c) {
    return c < 0x20 || (c >= 0x7F && c < 0xA0) || (c >= 0x202A && c <= 0x202E) ||
           (c >= 0x2066 && c <= 0x2069);
}

int columnsOf(wchar_t c) {
    const int columns = wcwidth(c);
    return columns < 0 ? 1 : columns;
}

int columnsOf(const std::wstring& text) {
    int columns = 0;
    for (wchar_t c : text) columns += columnsOf(c);
    return columns;
}

// Collects characters into lines.
class Wrapper {
  public:
    explicit Wrapper(int columns) : columns_(columns) {}

    void put(wchar_t c) {
        if (c == L'\n') return endLine();
        if (c == L'\t') {
            for (int n = kTabColumns - used_ % kTabColumns; n > 0; --n) putVisible(L' ');
            return;
        }
        putVisible(isControl(c) ? kReplacement : c);
    }

    void endLine() {
        lines_.push_back(zoString::IString(line_).toMultibyte().str());
        line_.clear();
        used_ = 0;
    }

    std::vector<std::string>& lines() { return lines_; }

  private:
    void putVisible(wchar_t c) {
        if (used_ + columnsOf(c) > columns_) {
            if (c == L' ') return endLine();
            breakLine();
        }
        line_ += c;
        used_ += columnsOf(c);
    }

    // Moves the unfinished word to a new line; a word that fills the line is cut.
    void breakLine() {
        const std::size_t blank = line_.rfind(L' ');
        const bool cut = blank == std::wstring::npos || line_.find_first_not_of(L' ') > blank;
        const std::wstring rest = cut ? std::wstring() : line_.substr(blank + 1);
        if (!cut) line_.resize(blank);
        endLine();
        line_ = rest;
        used_ = columnsOf(rest);
    }

    int columns_;
    int used_ = 0;  // columns of line_
    std::wstring line_;
    std::vector<std::string> lines_;
};

}  // namespace

void useUnicode() {
    for (const char* locale : {"", "C.UTF-8", "en_US.UTF-8"})
        if (std::setlocale(LC_CTYPE, locale) != nullptr && wcwidth(0x4E00) == 2) return;
}

std::vector<std::string> wrapText(const std::string& text, int columns) {
    Wrapper wrapper(columns);
    const zoString::IString characters(text.c_str());
    for (wchar_t c : characters.str()) wrapper.put(c);
    wrapper.endLine();
    return wrapper.lines();
}

}  // namespace kelvo::velaWarning
