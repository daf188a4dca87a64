// What could break: the default presentation of reports on a stderr that is no terminal: nesting,
// lines glued together, control characters in log files.
#include <gtest/gtest.h>

#include <cstdio>

#include "Base/rpt.h"
#include "tests/support/child_process.h"

namespace {

const struct {
    const char* what;
    void (*reports)();
    const char* shown;
} kCases[] = {
    {"pieces make a line",
     [] {
         rptError("** ");
         rptError("text");
         rptError(".\n");
         zoUndoReport("UNSAFE call %s\n", "f");
     },
     "** text.\nUNSAFE call f\n"},
    {"debug texts nest",
     [] {
         rptDebug(0, "a\n");
         rptDebug(0, ">>>");
         rptDebug(0, "b\n\nc");
         rptDebug(0, "d\n");
         rptDebug(1, ">>>");
         rptDebug(1, "e\n");
         rptDebug(0, "<<<");
         rptDebug(0, ">>> is a text here\n");
         rptDebug(0, "<<<");
         rptDebug(0, "<<<");
         rptDebug(0, "f\n");
         rptDebug(0, ">>>");
         rptError("not nested\n");
         rptDebug(0, "g\n");
     },
     "a\n  b\n\n  cd\n    e\n  >>> is a text here\nf\nnot nested\n  g\n"},
    {"each status is a line",
     [] {
         rptStatus("10%%");
         rptStatus("20%%\n");
         rptStatus("%s", "");
         rptStatus("30%%");
     },
     "10%\n20%\n30%\n"},
    {"user texts have their own lines",
     [] {
         rptUser("one");
         rptUser("two\n");
         rptError("half");
         rptUser("three");
         rptError("four\n");
     },
     "one\ntwo\nhalf\nthree\nfour\n"},
};

TEST(DefaultSink, WritesPlainTextsToFiles) {
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        const auto child = kelvo::test::runInChild(c.reports);
        EXPECT_EQ(0, child.exitCode);
        EXPECT_EQ(c.shown, child.errors);
    }
}

TEST(DefaultSink, ServesSinksThatPassReportsOn) {
    const auto child = kelvo::test::runInChild([] {
        rptSetSink(
            [](rptKind kind, int level, const char* text, void*) {
                if (level == 0) rptDefaultSink(kind, level, text, nullptr);
            },
            nullptr);
        rptDebug(0, "shown\n");
        rptDebug(1, "hidden\n");
    });
    EXPECT_EQ("shown\n", child.errors);
}

TEST(CheckAbort, IsSilentWithoutATerminal) {
    EXPECT_TRUE(kelvo::test::passesInChild([] {
        ASSERT_NE(nullptr, std::freopen("/dev/null", "r", stdin));
        EXPECT_EQ(0, rptCheckAbort());
    }));
}

}  // namespace
