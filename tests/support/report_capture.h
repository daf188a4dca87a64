// Records reports instead of showing them.
#pragma once

#include <string>
#include <vector>

#include "Base/rpt.h"

namespace kelvo::test {

/// One report as the sink received it.
struct Report {
    rptKind kind;
    int level;
    std::string text;    ///< formatted
    std::string format;  ///< as passed by the caller
};

/// Catches all reports from construction to destruction, then brings the sink before it back.
/// Captures nest like scopes.
class ReportCapture {
  public:
    ReportCapture();
    ~ReportCapture();
    ReportCapture(const ReportCapture&) = delete;
    ReportCapture& operator=(const ReportCapture&) = delete;

    const std::vector<Report>& reports() const { return reports_; }
    /// The texts of all reports joined, as a stream would show them.
    std::string text() const;
    /// The same for one kind.
    std::string text(rptKind kind) const;
    void clear() { reports_.clear(); }

  private:
    std::vector<Report> reports_;
    void* previousContext_ = nullptr;  // before previous_, whose initialisation sets it
    rptSink previous_;
};

}  // namespace kelvo::test
