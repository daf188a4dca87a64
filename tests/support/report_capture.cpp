#include "tests/support/report_capture.h"

namespace kelvo::test {
namespace {

void record(rptKind kind, int level, const char* text, void* context) {
    const char* format = rptCurrentFormat();
    static_cast<std::vector<Report>*>(context)->push_back(
        {kind, level, text, format != nullptr ? format : ""});
}

}  // namespace

ReportCapture::ReportCapture() : previous_(rptSetSink(record, &reports_, &previousContext_)) {}

ReportCapture::~ReportCapture() {
    rptSetSink(previous_, previousContext_);
}

std::string ReportCapture::text() const {
    std::string all;
    for (const Report& report : reports_) all += report.text;
    return all;
}

std::string ReportCapture::text(rptKind kind) const {
    std::string all;
    for (const Report& report : reports_)
        if (report.kind == kind) all += report.text;
    return all;
}

}  // namespace kelvo::test
