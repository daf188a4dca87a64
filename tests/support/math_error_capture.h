// Records the reports of the linear algebra instead of ending the process.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

#include "KelvoBase/math_error.h"

namespace kelvo::test {

/// Installs a handler that records and returns, from construction to destruction. One at a time.
class MathErrorCapture {
  public:
    /// What the handler received, and the text of the message.
    struct Error {
        unsigned short id;
        int severity;
        unsigned short classCode;
        std::string text;
    };

    MathErrorCapture() : previous_(setMathErrorHandler(record)) { errors().clear(); }
    ~MathErrorCapture() { setMathErrorHandler(previous_); }
    MathErrorCapture(const MathErrorCapture&) = delete;
    MathErrorCapture& operator=(const MathErrorCapture&) = delete;

    /// The texts recorded since the last call, joined by '|'.
    std::string take() {
        std::string all;
        for (const Error& error : errors()) all += (all.empty() ? "" : "|") + error.text;
        errors().clear();
        return all;
    }
    /// Everything recorded since the last take().
    static std::vector<Error>& errors() {
        static std::vector<Error> recorded;
        return recorded;
    }

  private:
    static void record(unsigned short id, int severity, unsigned short classCode, va_list args) {
        const MessageCatalog::Entry* entry = lookupMessage(id);
        char text[512] = "unknown message";
        if (entry != nullptr) std::vsnprintf(text, sizeof text, entry->format, args);
        errors().push_back({id, severity, classCode, text});
    }

    MathErrorHandler previous_;
};

}  // namespace kelvo::test
