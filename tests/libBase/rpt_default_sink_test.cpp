// What could break: the default presentation of reports on a stderr that is no terminal: nesting,
// lines glued together, control characters in log files.
#include <gtest/gtest.h>

#include <cstdio>

#include "Base/rpt.h"
#include "tests/libBase/play_reports.h"
#include "tests/support/child_process.h"

namespace {

TEST(DefaultSink, WritesPlainTextsToFiles) {
    const struct {
        const char* what;
        const char* reports;
        const char* shown;
    } cases[] = {
        {"pieces make a line", "e** |etext|e.\n|zUNSAFE call f\n", "** text.\nUNSAFE call f\n"},
        {"debug texts nest", "da\n|d>>>|db\n\nc|dd\n|D>>>|De\n|d<<<|d>>> no marker\n|d<<<|df\n",
         "a\n  b\n\n  cd\n    e\n  >>> no marker\nf\n"},
        {"closing too often does not count", "d<<<|d<<<|d>>>|enot nested\n|dg\n",
         "not nested\n  g\n"},
        {"each status is a line", "s10%|s20%\n|s|s30%", "10%\n20%\n30%\n"},
        {"user texts have their own lines", "uone|utwo\n|ehalf|uthree|efour\n",
         "one\ntwo\nhalf\nthree\nfour\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const auto child = kelvo::test::runInChild([&c] { play(c.reports); });
        EXPECT_EQ(0, child.exitCode);
        EXPECT_EQ(c.shown, child.errors);
    }
}

TEST(DefaultSink, ServesSinksThatPassReportsOn) {
    const auto child = kelvo::test::runInChild([] {
        const rptSink important = [](rptKind kind, int level, const char* text, void*) {
            if (level == 0) rptDefaultSink(kind, level, text, nullptr);
        };
        rptSetSink(important, nullptr);
        play("dshown\n|Dhidden\n");
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
