#include "json.h"

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

    void digits() {
        if (peek() < '0' || peek() > '9') fail("no digit");
        while (peek() >= '0' && peek() <= '9') ++at_;
    }

    double figure() {
        const std::size_t start = at_;
        if (peek() == '-') ++at_;
        if (peek() == '0')
            ++at_;
        else
            digits();
        if (peek() == '.') ++at_, digits();
        if (peek() == 'e' || peek() == 'E') {
            ++at_;
            if (peek() == '+' || peek() == '-') ++at_;
            digits();
        }
        return std::strtod(text_.c_str() + start, nullptr);
    }

    // One character of a string: copied, with the bytes that continue it.
    void character(std::string& value) {
        const auto first = static_cast<unsigned char>(peek());
        if (first < 0x20) fail("control character");
        const int more = first < 0x80   ? 0
                         : first < 0xC2 ? -1
                         : first < 0xE0 ? 1
                         : first < 0xF0 ? 2
                                        : 3;
        if (more < 0 || first > 0xF4) fail("no UTF-8");
        value += text_[at_++];
        for (int k = 0; k < more; ++k) {
            if ((static_cast<unsigned char>(peek()) & 0xC0) != 0x80) fail("no UTF-8");
            value += text_[at_++];
        }
    }

    std::string text() {
        expect('"');
        std::string value;
        while (peek() != '"') {
            if (peek() != '\\') {
                character(value);
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
    return Parser(text).document();
}

}  // namespace kelvo::test
