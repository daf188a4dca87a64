// The text of status reports, byte for byte: applications match on it.
#include "KelvoBase/vl_status.h"

#include <gtest/gtest.h>

#include "tests/support/report_capture.h"

namespace kelvo::test {
namespace {

TEST(Status, ReportsNameFileLineAndMessage) {
    const struct {
        int (*print)(int, const char*, int, const char*);
        int code;
        const char* file;
        int line;
        const char* message;
        const char* text;
    } rows[] = {
        {Vl_print_error, 12, "a.c", 7, "lost", "ERROR ITEM NOT FOUND (file a.c, line 7): lost"},
        {Vl_print_error, 0, "", 0, "", "ERROR NO ERROR (file , line 0): "},
        {Vl_print_error, 15, "b", -1, "%s",
         "ERROR UNEXPECTED NULL STRUCTURE (file b, line -1): %s"},
        {Vl_print_error, 26, "b", 1, "x\n", "ERROR MISSING CURVE(S) (file b, line 1): x\n"},
        {Vl_print_error, 31, "b", 1, "", "ERROR EXPRESSION ERROR (file b, line 1): "},
        {Vl_print_error, 32, "b", 1, "", "ERROR UNKNOWN (file b, line 1): "},
        {Vl_print_error, -1, nullptr, 1, nullptr, "ERROR UNKNOWN (file (null), line 1): (null)"},
        {Vl_print_conditional, 16, "b", 1, "", "ERROR ITEM FILTERED (file b, line 1): "},
        {Vl_print_conditional, 0, "b", 1, "x", ""},
    };
    for (const auto& row : rows) {
        const ReportCapture capture;
        EXPECT_EQ(1, row.print(row.code, row.file, row.line, row.message));
        EXPECT_EQ(row.text, capture.text());
        EXPECT_EQ(capture.text(), capture.text(rptKind::kError));
    }
}

}  // namespace
}  // namespace kelvo::test
