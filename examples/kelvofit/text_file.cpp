#include "text_file.h"

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace kelvo::fit {
namespace {

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\v' || c == '\f';
}

std::string systemError() {
    return std::strerror(errno);
}

}  // namespace

TextFile::TextFile(std::string name, std::string content)
    : name_(std::move(name)), content_(std::move(content)) {
    // Editors of other systems put a byte order mark in front.
    if (content_.starts_with("\xEF\xBB\xBF")) next_ = 3;
}

TextFile TextFile::read(const std::string& path) {
    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored)) failAt({path}, "this is a directory");
    errno = 0;
    std::ifstream in(path, std::ios::binary);
    if (!in) failAt({path}, "cannot be opened: " + systemError());
    std::ostringstream content;
    // An empty file makes << fail without anything being wrong.
    if (in.peek() != std::ifstream::traits_type::eof() && !(content << in.rdbuf()))
        failAt({path}, "cannot be read: " + systemError());
    if (in.bad()) failAt({path}, "cannot be read: " + systemError());
    return TextFile(path, std::move(content).str());
}

bool TextFile::nextLine(char comment) {
    if (next_ >= content_.size()) {
        words_.clear();
        return false;
    }
    const std::size_t end = std::min(content_.find_first_of("\r\n", next_), content_.size());
    std::string_view text(content_.data() + next_, end - next_);
    next_ = end;
    if (next_ < content_.size()) {
        const bool pair =
            content_[next_] == '\r' && next_ + 1 < content_.size() && content_[next_ + 1] == '\n';
        next_ += pair ? 2 : 1;
    }
    ++line_;
    if (comment != 0) text = text.substr(0, text.find(comment));
    split(text);
    return true;
}

void TextFile::split(std::string_view text) {
    words_.clear();
    for (std::size_t at = 0; at < text.size();) {
        if (isBlank(text[at])) {
            ++at;
            continue;
        }
        std::size_t end = at;
        while (end < text.size() && !isBlank(text[end])) ++end;
        words_.push_back({text.substr(at, end - at), line_, at + 1});
        at = end;
    }
}

double TextFile::number(const Word& word) const {
    const std::optional<double> value = parseNumber(word.text);
    if (!value) fail(word, quoted(word.text) + " is not a number");
    if (!std::isfinite(*value)) fail(word, quoted(word.text) + " is not a finite number");
    return *value;
}

std::size_t TextFile::index(const Word& word, std::size_t limit, const char* what) const {
    std::size_t value = 0;
    const char* end = word.text.data() + word.text.size();
    const auto [stop, error] = std::from_chars(word.text.data(), end, value);
    if (error == std::errc::invalid_argument || stop != end)
        fail(word, quoted(word.text) + " is not a whole number of 0 or more");
    if (error != std::errc() || value >= limit)
        fail(word, std::string(what) + " " + std::string(word.text) +
                       " does not exist, there are " + std::to_string(limit));
    return value;
}

void TextFile::fail(const Word& word, const std::string& what) const {
    failAt({name_, word.line, word.column}, what);
}

void TextFile::failLine(const std::string& what) const {
    failAt({name_, line_, words_.empty() ? 1 : words_.front().column}, what);
}

void TextFile::failFile(const std::string& what) const {
    failAt({name_}, what);
}

std::optional<double> parseNumber(std::string_view text) {
    if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
    double value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error == std::errc::invalid_argument || stop != end) return std::nullopt;
    // Out of range says nothing about the end; strtod tells too large from too small.
    if (error != std::errc()) value = std::strtod(std::string(text).c_str(), nullptr);
    return value;
}

std::string quoted(std::string_view text) {
    constexpr std::size_t kLongest = 40;
    std::string shown = "'";
    for (char c : text.substr(0, kLongest)) {
        const bool control = static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
        shown += control ? '?' : c;
    }
    if (text.size() > kLongest) shown += "...";
    return shown + "'";
}

}  // namespace kelvo::fit
