// What could break: a message text or severity, the order of the three writes, what an override of
// the severity does, catalogs that programs add.
#include "KelvoBase/math_error.h"

#include <gtest/gtest.h>

#include "tests/linalg/recorded_errors.h"
#include "tests/support/child_process.h"
#include "tests/support/report_capture.h"

using kelvo::test::abortsWithReport;
using kelvo::test::RecordedErrors;
using kelvo::test::ReportCapture;

namespace {

const char* const kEnded = "** Processing terminated.\n";

TEST(MathError, CatalogsAreWordForWord) {
    // FNV-1a over severity digit, text and line end of every entry, computed from the
    // documentation.
    const struct {
        unsigned short first;
        unsigned short count;
        std::uint64_t hash;
    } kCatalogs[] = {{0x3000, 20, 0x0d283900da4c87fd},
                     {0x4000, 26, 0x60ecca3c59062d92},
                     {0x5000, 19, 0xed8617ea1d2fef11}};
    for (const auto& c : kCatalogs) {
        SCOPED_TRACE(c.first);
        std::uint64_t hash = 0xcbf29ce484222325;
        for (unsigned short i = 0; i < c.count; ++i) {
            const auto* entry = lookupMessage(static_cast<unsigned short>(c.first + i));
            ASSERT_NE(nullptr, entry);
            for (const char ch : std::to_string(entry->severity) + entry->format + '\n') {
                hash = (hash ^ static_cast<unsigned char>(ch)) * 0x100000001b3;
            }
        }
        EXPECT_EQ(c.hash, hash);
        EXPECT_EQ(nullptr, lookupMessage(static_cast<unsigned short>(c.first + c.count)));
    }
    EXPECT_STREQ("matrix not hermetian", lookupMessage(kelvo::linalg::kNotHermitian)->format);
    EXPECT_EQ(nullptr, lookupMessage(0x2000));
}

TEST(MathError, DefaultHandlerContinuesForSeverityZero) {
    const struct {
        const char* label;
        MathError error;
        const char* text;
    } kRows[] = {
        {"catalog decides",
         {0x3011, 1, 0x900E},
         "** [ZEROVEC: DoubleVec]: maxIndex: vector is empty.\n** Processing continues.\n"},
        {"overridden",
         {0x300F, 0, 0x900E},
         "** [VNMATCH: DoubleVec]: Vector lengths do not match (3 vs 2).\n"
         "** Processing continues.\n"},
        {"id 0", {0, 2, 0x900E}, ""},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.label);
        ReportCapture capture;
        if (row.error.id == 0x300F) {
            reportMathError(row.error, "DoubleVec", 3u, 2u);
        } else {
            reportMathError(row.error, "DoubleVec", "maxIndex");
        }
        EXPECT_EQ(row.text, capture.text());
        EXPECT_EQ(row.error.id == 0 ? 0u : 4u, capture.reports().size());
    }
}

TEST(MathErrorDeathTest, DefaultHandlerAborts) {
    const struct {
        const char* label;
        std::function<void()> body;
        std::string text;
    } kRows[] = {
        {"catalog decides",
         [] {
             reportMathError({0x3005, 1, 0x900E}, "DoubleVec", 7, 4u);
         },
         "** [INDEX: DoubleVec]: Index (7) out of range [0->4].\n"},
        {"overridden",
         [] {
             reportMathError({0x4010, 2, 0xF000});
         },
         "** matrix not hermetian.\n"},
        {"no such catalog", [] { reportMathErrorId(0x7ABC); }, "** Error number 0x7abc."},
        {"beyond the catalog, although severity is 0",
         [] {
             reportMathError({0x3014, 0, 0xF000});
         },
         "** Error number 0x3014."},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.label);
        EXPECT_TRUE(abortsWithReport(row.body, row.text + kEnded));
    }
}

TEST(MathError, HandlerIsReplacedAndGetsEverything) {
    EXPECT_EQ(defaultMathErrorHandler, mathErrorHandler);
    {
        RecordedErrors errors;
        reportMathError({0x3005, 0, 0x9018}, "IntVec", -1, 0u);
        reportMathErrorId(0x10000 + 0x400D, 2, 3);
        const std::vector<kelvo::test::MathReport> expected = {
            {0x3005, 0, 0x9018, "[INDEX: IntVec]: Index (-1) out of range [0->0]"},
            {0x400D, 1, 0xF000, "2x3 matrix not square"}};
        EXPECT_EQ(expected, errors.take());
        EXPECT_NE(defaultMathErrorHandler, setMathErrorHandler(nullptr));
        EXPECT_EQ(defaultMathErrorHandler, mathErrorHandler) << "null means the default";
    }
    EXPECT_EQ(defaultMathErrorHandler, mathErrorHandler);
}

TEST(MathError, ProgramsAddCatalogs) {
    EXPECT_TRUE(kelvo::test::passesInChild([] {
        static const MessageCatalog::Entry kFirst[] = {{0, "first %d"}};
        static const MessageCatalog::Entry kSecond[] = {{0, "second"}, {2, "more"}};
        static MessageCatalog first = {9, kFirst, 1, nullptr};
        static MessageCatalog second = {9, kSecond, 2, nullptr};
        static MessageCatalog other = {10, kSecond, 2, nullptr};
        for (MessageCatalog* c : {&first, &second, &first, &other}) registerMessageCatalog(c);
        registerMessageCatalog(nullptr);
        EXPECT_EQ(kFirst, lookupMessage(0x9000)) << "the earlier of two answers";
        EXPECT_EQ(nullptr, lookupMessage(0x9001)) << "and it alone";
        EXPECT_EQ(kSecond + 1, lookupMessage(0xA001));
        EXPECT_EQ(nullptr, other.next) << "registering twice must not make a ring";
    }));
}

}  // namespace
