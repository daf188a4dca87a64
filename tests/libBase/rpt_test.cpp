// What could break: texts cut or changed, wrong kinds, a sink that calls itself, errno lost.
#include "Base/rpt.h"

#include <sys/time.h>

#include <chrono>

#include "tests/support/child_process.h"
#include "tests/support/report_capture.h"
#include "tests/support/test.h"

using namespace kelvo::test;

namespace {

int error(const char* format, ...) {
    va_list values;
    va_start(values, format);
    const int length = rptVError(format, values);
    va_end(values);
    return length;
}

TEST(Reports, ArriveFormattedWithKindLevelAndFormat) {
    const struct {
        rptKind kind;
        int level;
        int (*report)();
    } cases[] = {
        {rptKind::kError, 0, [] { return rptError("%d%%|%s\n", 42, "text"); }},
        {rptKind::kError, 0, [] { return error("%d%%|%s\n", 42, "text"); }},
        {rptKind::kDebug, 3, [] { return rptDebug(3, "%d%%|%s\n", 42, "text"); }},
        {rptKind::kStatus, 0, [] { return rptStatus("%d%%|%s\n", 42, "text"); }},
        {rptKind::kUser, 0, [] { return rptUser("%d%%|%s\n", 42, "text"); }},
        {rptKind::kUndo, 0, [] { return zoUndoReport("%d%%|%s\n", 42, "text"), 9; }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(static_cast<int>(c.kind));
        ReportCapture capture;
        EXPECT_EQ(9, c.report());
        ASSERT_EQ(1u, capture.reports().size());
        const Report& report = capture.reports()[0];
        EXPECT_EQ(c.kind, report.kind);
        EXPECT_EQ(c.level, report.level);
        EXPECT_EQ("42%|text\n", report.text);
        EXPECT_EQ("%d%%|%s\n", report.format);
        EXPECT_EQ(nullptr, rptCurrentFormat());
    }
}

TEST(Reports, HaveAnyLengthAndKeepErrno) {
    ReportCapture capture;
    for (const std::size_t length : {1022u, 1023u, 1024u, 300000u}) {
        capture.clear();
        const std::string text(length, 'x');
        errno = ENOENT;
        EXPECT_EQ(static_cast<int>(length) + 1, rptError("%s.", text.c_str()));
        EXPECT_EQ(ENOENT, errno);
        EXPECT_EQ(text + ".", capture.text());
    }
}

TEST(Reports, ThatCannotBeFormattedArriveAsTheirFormat) {
    ReportCapture capture;
    EXPECT_LT(rptError("lost %lc\n", static_cast<wint_t>(0x12345678)), 0);
    EXPECT_EQ("lost %lc\n", capture.text());
    const char* none = nullptr;
    EXPECT_EQ(0, rptError(none));
    EXPECT_EQ(1u, capture.reports().size());
}

void reportAgain(rptKind, int, const char* text, void* count) {
    ++*static_cast<int*>(count);
    rptError("[%s]", text);
    EXPECT_STREQ("first %d", rptCurrentFormat());
}

TEST(Sinks, OwnReportsGoToTheDefaultSink) {
    const auto child = kelvo::test::runInChild([] {
        int count = 0;
        rptSetSink(reportAgain, &count);
        rptDebug(0, "first %d", 1);
        EXPECT_EQ(1, count);
    });
    EXPECT_EQ(0, child.exitCode);
    EXPECT_EQ("[first 1]", child.errors);
}

TEST(Sinks, MayThrowAndComeBack) {
    ReportCapture capture;
    void* context = nullptr;
    const rptSink record =
        rptSetSink([](rptKind, int, const char* text, void*) { throw std::runtime_error(text); },
                   nullptr, &context);
    EXPECT_THROW(rptError("stop"), std::runtime_error);
    rptSetSink(record, context);
    rptError("go on");
    EXPECT_EQ("go on", capture.text());
}

TEST(AbortAndSleep, AreReplaceable) {
    int polls = 0;
    void* previous = &polls;
    EXPECT_EQ(nullptr, rptSetCheckAbort([](void* n) { return 10 * ++*static_cast<int*>(n); },
                                        &polls, &previous));
    EXPECT_EQ(nullptr, previous);
    EXPECT_EQ(10, rptCheckAbort());
    EXPECT_EQ(20, rptCheckAbort());
    EXPECT_NE(nullptr, rptSetCheckAbort(nullptr, nullptr, &previous));
    EXPECT_EQ(&polls, previous);

    unsigned slept = 0;
    rptSetSleep([](unsigned ms, void* sum) { *static_cast<unsigned*>(sum) += ms; }, &slept);
    rptSleep(1000000);
    rptSetSleep(nullptr, nullptr);
    EXPECT_EQ(1000000u, slept);
}

TEST(Sleep, IsNotCutShortBySignals) {
    struct sigaction act = {}, before;
    act.sa_handler = [](int) {};
    sigaction(SIGALRM, &act, &before);
    const itimerval every10ms = {{0, 10000}, {0, 10000}}, off = {};
    setitimer(ITIMER_REAL, &every10ms, nullptr);
    const auto start = std::chrono::steady_clock::now();
    rptSleep(120);
    const auto took = std::chrono::steady_clock::now() - start;
    setitimer(ITIMER_REAL, &off, nullptr);
    sigaction(SIGALRM, &before, nullptr);
    EXPECT_GE(took, std::chrono::milliseconds(120));
    EXPECT_LT(took, std::chrono::seconds(5));
}

int format(char* buffer, size_t size, const char* text, ...) {
    va_list values;
    va_start(values, text);
    const int length = VL_vsnprintf(buffer, size, text, values);
    va_end(values);
    return length;
}

TEST(Vsnprintf, StaysInsideAndTerminates) {
    const struct {
        size_t size;
        std::string buffer;  // all of it afterwards
    } cases[] = {
        {0, "########"},
        {1, std::string("\0#######", 8)},
        {3, std::string("12\0#####", 8)},
        {6, std::string("12345\0##", 8)},
        {8, std::string("12345\0##", 8)},
    };
    for (const auto& c : cases) {
        char buffer[] = "########";
        EXPECT_EQ(5, format(buffer, c.size, "%d", 12345));
        EXPECT_EQ(c.buffer, std::string(buffer, 8)) << c.size;
    }
    char buffer[] = "########";
    EXPECT_LT(format(buffer, sizeof buffer, "ab%lc", static_cast<wint_t>(0x12345678)), 0);
    EXPECT_STREQ("", buffer);
    EXPECT_EQ(5, format(nullptr, 100, "%d", 12345));
}

}  // namespace
