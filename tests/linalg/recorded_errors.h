// A math error handler that writes down what it gets and returns.
#pragma once

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "KelvoBase/math_error.h"

namespace kelvo::test {

/// One report of the linear algebra.
struct MathReport {
    unsigned short id;
    int severity;
    unsigned short classCode;
    std::string text;  ///< the formatted message; empty when the id has none
    bool operator==(const MathReport&) const = default;
};

/// Replaces the handler from construction to destruction.
class RecordedErrors {
  public:
    RecordedErrors() : previous_(setMathErrorHandler(record)) { reports().clear(); }
    ~RecordedErrors() { setMathErrorHandler(previous_); }
    RecordedErrors(const RecordedErrors&) = delete;
    RecordedErrors& operator=(const RecordedErrors&) = delete;

    /// Everything reported since the last call.
    std::vector<MathReport> take() { return std::exchange(reports(), {}); }
    /// The texts of the same, one to a line.
    std::string takeText() {
        std::string all;
        for (const MathReport& r : take()) all += (all.empty() ? "" : "\n") + r.text;
        return all;
    }

  private:
    static std::vector<MathReport>& reports() {
        static std::vector<MathReport> list;
        return list;
    }
    static void record(unsigned short id, int severity, unsigned short classCode, va_list args) {
        char text[512] = "";
        if (const auto* entry = lookupMessage(id)) {
            std::vsnprintf(text, sizeof text, entry->format, args);
        }
        reports().push_back({id, severity, classCode, text});
    }

    MathErrorHandler previous_;
};

}  // namespace kelvo::test
