// What could break: a text, the choice between the texts at its limits, a report that goes to the
// wrong place or through a silent reporter, and a name that runs past its field.
#include "KelvoBase/base_reporter.h"

#include "Base/rpt.h"
#include "tests/support/report_capture.h"
#include "tests/support/test.h"

using kelvo::test::ReportCapture;

namespace {

using Call = std::function<void(const TbaseReporter&)>;

Call fit(int iteration, int most, double deviation) {
    return [=](const TbaseReporter& r) { r.toleranceReport(iteration, most, 1.5, -2, deviation); };
}
Call tolerance(double achieved, double requested) {
    return [=](const TbaseReporter& r) { r.tolReport(4, achieved, requested); };
}
Call percentage(double fraction) {
    return [=](const TbaseReporter& r) { r.percentageReport(fraction); };
}

#define FIT "kelvofit: Fitting iteration "
#define AT " at (1.5000, -2.0000)."
#define TOL "kelvofit:  Iteration 4.  Tolerance achieved: "
#define STOP "(ESC to stop)."

const struct {
    rptKind kind;
    Call call;
    std::string text;
} kTexts[] = {
    {rptKind::kStatus, fit(3, 10, 0), FIT "3 (of max. 10). Rel. deviation: 0.0000."},
    {rptKind::kStatus, fit(3, 10, -5e-10), FIT "3 (of max. 10). Rel. deviation: -0.0000."},
    {rptKind::kStatus, fit(3, 10, 1e-9), FIT "3 (of max. 10). Rel. deviation: 0.0000."},
    {rptKind::kStatus, fit(3, 10, 1.1e-9), FIT "3 (of max. 10). Rel. deviation: 0.0000" AT},
    {rptKind::kStatus, fit(3, 10, -2), FIT "3 (of max. 10). Rel. deviation: -2.0000" AT},
    {rptKind::kStatus, fit(3, 10, 0.5), FIT "3 (of max. 10). Rel. deviation: 0.5000" AT},
    {rptKind::kStatus, fit(3, 10, 1), FIT "3 (of max. 10). Rel. deviation: 1.0000" AT " " STOP},
    {rptKind::kStatus, fit(9, 10, 1e5),
     FIT "9 (of max. 10). Rel. deviation: 100000.0000" AT " " STOP},
    {rptKind::kStatus, fit(10, 10, 1), FIT "10 (of max. 10). Rel. deviation: 1.0000" AT},
    {rptKind::kStatus, fit(1, 2, INFINITY),
     FIT "1 (of max. 2). Rel. deviation:    inf" AT " " STOP},
    {rptKind::kStatus, fit(1, 2, NAN), FIT "1 (of max. 2). Rel. deviation:    nan" AT},
    {rptKind::kUser, tolerance(0.0009, 0.001), TOL "0.0009 (Requested 0.0010)."},
    {rptKind::kUser, tolerance(0.001, 0.001), TOL "0.0010 (Requested 0.0010).  " STOP},
    {rptKind::kUser, tolerance(2, 0.001), TOL "2.0000 (Requested 0.0010).  " STOP},
    {rptKind::kStatus, percentage(0.257), " kelvofit:  Constraint solving ... 25.7% completed"},
    {rptKind::kStatus, percentage(0), " kelvofit:  Constraint solving ...  0.0% completed"},
    {rptKind::kStatus, [](const TbaseReporter& r) { r.iterationsReport(12); },
     " kelvofit:  Constraint solving.  Iteration 12 " STOP},
    {rptKind::kStatus, [](const TbaseReporter& r) { r.noMemoryReport(); },
     "kelvofit: Not enough memory to complete this operation."},
};

TEST(BaseReporter, Texts) {
    for (const auto& row : kTexts) {
        SCOPED_TRACE(row.text);
        ReportCapture capture;
        row.call(TbaseReporter("kelvofit", 1));
        ASSERT_EQ(1u, capture.reports().size());
        EXPECT_EQ(row.kind, capture.reports()[0].kind);
        EXPECT_EQ(row.text, capture.reports()[0].text);

        TbaseReporter quiet("kelvofit", 0);
        row.call(quiet);
        EXPECT_EQ(1u, capture.reports().size());
        quiet.loud() = -1;
        row.call(quiet);
        EXPECT_EQ(2u, capture.reports().size());
    }
}

struct Renamed : TbaseReporter {
    using TbaseReporter::setOptionName;
    using TbaseReporter::TbaseReporter;
};

std::string nameOf(const TbaseReporter& reporter) {
    ReportCapture capture;
    reporter.noMemoryReport();
    return capture.text().substr(0, capture.text().find(':'));
}

TEST(BaseReporter, KeepsElevenCharactersOfTheName) {
    EXPECT_EQ("", nameOf(Renamed(nullptr, 1)));
    EXPECT_EQ("12345678901", nameOf(Renamed("12345678901", 1)));
    EXPECT_EQ("abcdefghijk", nameOf(Renamed("abcdefghijklmnopqrst", 1)));
    const char unterminated[] = {'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 'i', 'j', 'k'};
    EXPECT_EQ("abcdefghijk", nameOf(Renamed(unterminated, 1)));
    EXPECT_EQ("%s%n", nameOf(Renamed("%s%n", 1)));

    Renamed reporter("a longer name", 1);
    reporter.setOptionName("short");
    EXPECT_EQ("short", nameOf(reporter));
    const TbaseReporter copy(reporter);
    reporter.setOptionName(nullptr);
    EXPECT_EQ("", nameOf(reporter));
    EXPECT_EQ("short", nameOf(copy));
    EXPECT_EQ(1, copy.loud());

    TbaseReporter fresh;
    EXPECT_EQ(0, fresh.loud());
    fresh = copy;
    EXPECT_EQ("short", nameOf(fresh));
}

TEST(BaseReporter, AsksForTheAbortKeyAndPauses) {
    const TbaseReporter silent;
    int answer = 0;
    void* previous_context = nullptr;
    const rptAbortPoll poll = rptSetCheckAbort(
        [](void* context) { return *static_cast<int*>(context); }, &answer, &previous_context);
    for (int asked : {0, 1, 27, -1}) {
        answer = asked;
        EXPECT_EQ(asked ? 1 : 0, silent.quit()) << asked;
    }
    rptSetCheckAbort(poll, previous_context);

    unsigned paused = 0;
    const rptPause pause =
        rptSetSleep([](unsigned milliseconds,
                       void* context) { *static_cast<unsigned*>(context) += milliseconds; },
                    &paused, &previous_context);
    EXPECT_EQ(4000000000u, silent.sleep(4000000000u));
    EXPECT_EQ(4000000000u, paused);
    EXPECT_EQ(0u, silent.sleep(0));
    rptSetSleep(pause, previous_context);
}

// The one virtual operation comes right after the destructor, which takes two places in the table
// of the Itanium C++ ABI.
TEST(BaseReporter, ToleranceReportIsTheFirstVirtualOperation) {
    struct Overridden : TbaseReporter {
        void tolReport(int iteration, double, double) const override { last = iteration; }
        mutable int last = 0;
    };
    const Overridden overridden;
    const TbaseReporter* reporter = &overridden;
    using Operation = void (*)(const TbaseReporter*, int, double, double);
    Operation* table;
    std::memcpy(&table, static_cast<const void*>(reporter), sizeof table);
    table[2](reporter, 42, 0.0, 0.0);
    EXPECT_EQ(42, overridden.last);
}

}  // namespace
