#include "fuzz/fuzz.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace kelvo::fuzz {

Input::Input(const std::uint8_t* data, std::size_t size)
    : bytes_(reinterpret_cast<const char*>(data)), size_(size) {}

unsigned Input::byte() {
    return isEmpty() ? 0 : static_cast<unsigned char>(bytes_[next_++]);
}

std::string Input::text() {
    const std::string all(bytes_ + next_, size_ - next_);
    const std::size_t length = std::min(all.find('\0'), all.size());
    next_ += std::min(length + 1, all.size());
    return all.substr(0, length);
}

void require(bool rule, const char* what) {
    if (rule) return;
    std::fprintf(stderr, "fuzz: broken rule: %s\n", what);
    std::abort();
}

std::unique_ptr<char[]> blockWith(const std::string& text, std::size_t size) {
    std::unique_ptr<char[]> block(new char[size]);
    std::memcpy(block.get(), text.c_str(), std::min(text.size() + 1, size));
    return block;
}

std::unique_ptr<char[]> writable(const std::string& text) {
    return blockWith(text, text.size() + 1);
}

std::string slashed(std::string text) {
    std::replace(text.begin(), text.end(), '\\', '/');
    return text;
}

}  // namespace kelvo::fuzz
