// Names of commands. A history holds very many commands with few different names, most of them the
// same as the one recorded just before: those share one text.
#pragma once

#include <string>

namespace kelvo::zo_undo {

class SharedName {
  public:
    /// The text with one more owner, or null for a null or empty one. Given back with release().
    static SharedName* acquire(const char* text);
    /// Takes an owner away; null does nothing.
    static void release(SharedName* name) noexcept;

    const char* text() const noexcept { return text_.c_str(); }

  private:
    explicit SharedName(const char* text) : text_(text) {}

    std::string text_;
    unsigned long owners_ = 1;
};

}  // namespace kelvo::zo_undo
