#include "json.h"

#include <boost/locale/encoding_utf.hpp>
#include <boost/regex.hpp>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace kelvo::test {
namespace {

class Parser {
  public:
    explicit Parser(const std::string& text) : text_(text) {}

    Json document() {
        Json value = any();
        blanks();
        if (at_ != text_.size()) fail("more than one value");
        return value;
    }

  private:
    [[noreturn]] void fail(const std::string& what) const {
        throw std::runtime_error(what + " at byte " + std::to_string(at_));
    }
    char peek() const { return at_ < text_.size() ? text_[at_] : '\0'; }
    void blanks() {
        while (peek() != '\0' && std::strchr(" \t\r\n", peek()) != nullptr) ++at_;
    }
    void expect(char c) {
        if (peek() != c) fail(std::string("no ") + c);
        ++at_;
    }
    bool take(const char* word) {
        const std::size_t size = std::strlen(word);
        if (text_.compare(at_, size, word) != 0) return false;
        at_ += size;
        return true;
    }

    Json any() {
        blanks();
        Json value;
        if (peek() == '{' || peek() == '[')
            list(value, peek() == '{');
        else if (peek() == '"')
            value.kind = Json::kString, value.string = text();
        else if (take("null"))
            value.kind = Json::kNull;
        else if (take("true"))
            value.kind = Json::kTrue;
        else if (take("false"))
            value.kind = Json::kFalse;
        else
            value.kind = Json::kNumber, value.number = figure();
        return value;
    }

    void list(Json& value, bool object) {
        const char end = object ? '}' : ']';
        value.kind = object ? Json::kObject : Json::kArray;
        ++at_;
        blanks();
        for (bool first = true; peek() != end; first = false) {
            if (!first) expect(',');
            blanks();
            if (!object) {
                value.items.push_back(any());
            } else {
                const std::string key = text();
                blanks();
                expect(':');
                if (!value.members.emplace(key, any()).second) fail("key " + key + " twice");
            }
            blanks();
        }
        ++at_;
    }

    double figure() {
        static const boost::regex form("-?(0|[1-9][0-9]*)(\\.[0-9]+)?([eE][+-]?[0-9]+)?");
        boost::smatch found;
        const auto start = text_.begin() + static_cast<std::ptrdiff_t>(at_);
        if (!boost::regex_search(start, text_.end(), found, form, boost::match_continuous))
            fail("no value");
        at_ += static_cast<std::size_t>(found.length());
        return std::stod(found.str());
    }

    std::string text() {
        expect('"');
        std::string value;
        while (peek() != '"') {
            if (peek() != '\\') {
                if (static_cast<unsigned char>(peek()) < 0x20) fail("control character");
                value += text_[at_++];
                continue;
            }
            ++at_;
            constexpr char kNames[] = "\"\\/bfnrt", kValues[] = "\"\\/\b\f\n\r\t";
            const char* known = peek() == '\0' ? nullptr : std::strchr(kNames, peek());
            if (known != nullptr) {
                value += kValues[known - kNames];
                ++at_;
            } else if (peek() == 'u') {
                const long code = std::strtol(text_.substr(at_ + 1, 4).c_str(), nullptr, 16);
                if (code <= 0 || code > 0x7f) fail("escape that this program does not write");
                value += static_cast<char>(code);
                at_ += 5;
            } else {
                fail("unknown escape");
            }
        }
        ++at_;
        return value;
    }

    const std::string& text_;
    std::size_t at_ = 0;
};

}  // namespace

Json Json::parse(const std::string& text) {
    boost::locale::conv::utf_to_utf<wchar_t>(text, boost::locale::conv::stop);
    return Parser(text).document();
}

}  // namespace kelvo::test
