// Names that nobody else makes.
#pragma once

#include <array>
#include <cstdint>

#include "Base/base_api.h"
#include "Base/zo_string.h"

namespace zoOS {

/// A universally unique identifier (RFC 4122). A value; a new one is all zero.
class BASE_API Uuid {
  public:
    Uuid() = default;

    /// A random one, version 4, from the system's source of random numbers.
    static Uuid generate();

    /// 36 characters in lower case: "xxxxxxxx-xxxx-4xxx-yxxx-xxxxxxxxxxxx".
    zoString::CString asString() const;

    friend bool operator==(const Uuid& a, const Uuid& b) noexcept { return a.bytes_ == b.bytes_; }
    friend bool operator!=(const Uuid& a, const Uuid& b) noexcept { return a.bytes_ != b.bytes_; }
    friend bool operator<(const Uuid& a, const Uuid& b) noexcept { return a.bytes_ < b.bytes_; }

  private:
    std::array<std::uint8_t, 16> bytes_{};
};

}  // namespace zoOS
