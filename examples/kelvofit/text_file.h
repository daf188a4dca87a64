// A text file in memory, read line by line and word by word, that knows where each word stands.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "failure.h"

namespace kelvo::fit {

/// A run of characters without blanks. `text` views the file's content.
struct Word {
    std::string_view text;
    std::size_t line = 0, column = 0;  // from 1
};

class TextFile {
  public:
    /// Reads all of `path`; throws Failure when that fails (missing, unreadable, a directory).
    static TextFile read(const std::string& path);
    /// For tests and for text that is no file.
    TextFile(std::string name, std::string content);

    /// Moves to the next line and splits it into words; false at the end. Everything from the
    /// character `comment` on is left out (0: nothing is). Lines end with LF, CR LF or CR.
    bool nextLine(char comment = 0);
    /// The words of the current line.
    const std::vector<Word>& words() const { return words_; }
    /// Number of the current line, from 1; 0 before the first.
    std::size_t line() const { return line_; }

    /// The value of a word. Throws Failure with the place unless the whole word is one finite
    /// number in decimal notation, whatever the locale.
    double number(const Word& word) const;
    /// The same for a whole number in 0 .. limit - 1 (`what` names it in the message).
    std::size_t index(const Word& word, std::size_t limit, const char* what) const;

    /// Throws Failure about a word, about the current line, or about the file as a whole.
    [[noreturn]] void fail(const Word& word, const std::string& what) const;
    [[noreturn]] void failLine(const std::string& what) const;
    [[noreturn]] void failFile(const std::string& what) const;

  private:
    void split(std::string_view text);

    std::string name_;
    std::string content_;
    std::size_t next_ = 0;  // where the next line starts
    std::size_t line_ = 0;
    std::vector<Word> words_;
};

/// Parses a decimal number; nothing when `text` is not exactly one. The result may be infinite or
/// NaN when the text says so ("inf", "nan") or the number is too large; one too small reads as 0.
std::optional<double> parseNumber(std::string_view text);

/// `text` in quotes for a message: cut when long, control characters replaced.
std::string quoted(std::string_view text);

}  // namespace kelvo::fit
