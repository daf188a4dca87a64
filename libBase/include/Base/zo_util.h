// Error values and time spans of the class interfaces.
#pragma once

#include "Base/base_api.h"
#include "Base/rpt.h"
#include "Base/zo_string.h"

namespace zoUtil {

/// Outcome of an operation: code 0 is success, any other code comes with a message for people.
/// A value type; operations return it, and some throw it.
class BASE_API Error {
  public:
    /// Success, without a message.
    Error() = default;
    /// The message is formatted like printf and may be of any length; a null format gives none.
    Error(int code, const char* format, ...) BASE_PRINTF(3, 4);

    int code() const noexcept { return code_; }
    const zoString::CString& message() const noexcept { return message_; }
    bool isError() const noexcept { return code_ != 0; }
    /// True when there is an error: `if (zoUtil::Error error = open()) ...`
    explicit operator bool() const noexcept { return isError(); }

  private:
    int code_ = 0;
    zoString::CString message_;
};

/// Span of time in seconds. What 0 means (often: wait without limit) is said where it is used.
class Interval {
  public:
    explicit constexpr Interval(double seconds) noexcept : seconds_(seconds) {}
    constexpr double seconds() const noexcept { return seconds_; }

  private:
    double seconds_;
};

}  // namespace zoUtil
