// What could break: the printed form, character by character, and what reading makes of it and of
// anything else.
#include <gtest/gtest.h>

#include <iomanip>

#include "tests/linalg/mat_support.h"
#include "tests/linalg/recorded_errors.h"

namespace {

using namespace kelvo::test;

TEST(MatText, Prints) {
    std::ostringstream os;
    os << std::setw(3) << DoubleGenMat(counting(4), 2, 2) << "|" << std::setw(2)
       << DoubleLowerTriMat(counting(3), 2, 2) << "|" << DoubleUpperTriMat(counting(3), 2, 2) << "|"
       << DoubleSymMat(counting(3), 2, 2) << "|" << IntGenMat(1, 3, -4) << DoubleGenMat();
    EXPECT_EQ(
        "2x2 [\n  1   3 \n  2   4 \n]|"
        "DoubleLowerTriMat, 2x2 [\n 1  0 \n 2  3 \n]|"
        "DoubleUpperTriMat, 2x2 [\n1 2 \n0 3 \n]|"
        "DoubleSymMat, 2x2 [\n1 2 \n2 3 \n]|"
        "1x3 [\n-4 -4 -4 \n]0x0 [\n]",
        os.str());
    EXPECT_EQ(0, os.width());
}

template <class Mat>
void expectReadBack(const Mat& m) {
    std::stringstream stream;
    stream << std::setprecision(17) << std::setw(24) << m << "rest";
    Mat back(1, 1);
    stream >> back;
    EXPECT_EQ(1, m == back) << printed(m);
    EXPECT_TRUE(stream.good());
    EXPECT_EQ('r', stream.get());
}

TEST(MatText, ReadsBackWhatItPrints) {
    for (unsigned n : {0u, 1u, 2u, 5u, 12u}) {
        const DoubleVec values = 1.0 / counting(n * (n + 1) / 2);
        expectReadBack(DoubleSymMat(values, n, n));
        expectReadBack(DoubleLowerTriMat(values, n, n));
        expectReadBack(DoubleUpperTriMat(values, n, n));
        expectReadBack(DoubleGenMat(1.0 / counting(n * 3), 3, n));
        expectReadBack(toInt(DoubleGenMat(counting(n * 7) - 9.0, n, 7)));
    }
}

TEST(MatText, ReadsOtherSpellings) {
    const struct {
        const char* input;
        const char* matrix;
    } kRows[] = {{"2x2[1 2 3 4]", "1 2|3 4"},
                 {"\n- 1 2 [ 5 6 ]", "5 6"},
                 {"1*2 [5\n6]", "5 6"},
                 {"Anything, 2x1 [ 1e3 -2.5]", "1000|-2.5"},
                 {"0x0 []", ""}};
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.input);
        std::istringstream is(row.input);
        DoubleGenMat m;
        is >> m;
        EXPECT_EQ(row.matrix, text(m));
    }
}

TEST(MatText, MalformedInputIsReportedAndChangesNothing) {
    const struct {
        const char* input;
        const char* report;
    } kRows[] = {
        {"", "wrong number of elements (0) for DoubleGenMat (0x0)"},
        {"no digits at all", "wrong number of elements (0) for DoubleGenMat (0x0)"},
        {"2x", "wrong number of elements (0) for DoubleGenMat (2x0)"},
        {"2x2 [1 2 3]", "wrong number of elements (3) for DoubleGenMat (2x2)"},
        {"2x2 [1 2 3 4 5]", "wrong number of elements (5) for DoubleGenMat (2x2)"},
        {"2x2 [1 2 x 4]", "wrong number of elements (2) for DoubleGenMat (2x2)"},
        // Without the closing bracket the stream has failed or ended, though the count fits.
        {"2x2 [1 2 3 4", "wrong number of elements (4) for DoubleGenMat (2x2)"},
        {"2x2 1 2 3 4", "wrong number of elements (4) for DoubleGenMat (2x2)"},
        {"65536x65536 []", "wrong number of elements (0) for DoubleGenMat (65536x65536)"},
        {"99999999999x1 [1]", "wrong number of elements (0) for DoubleGenMat (4294967295x0)"},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.input);
        RecordedErrors errors;
        std::istringstream is(row.input);
        DoubleGenMat m(counting(2), 1, 2);
        is >> m;
        EXPECT_EQ(row.report, errors.takeText());
        EXPECT_EQ("1 2", text(m));
    }
}

TEST(MatText, PackedMatricesWantASquareAndTakeTheirTriangle) {
    RecordedErrors errors;
    const char* const square = "3x3 [1 2 3 4 5 6 7 8 9]";
    DoubleLowerTriMat lower(1, 1);
    DoubleUpperTriMat upper;
    DoubleSymMat sym(DoubleVec(3, 0.5), 2, 2);
    std::istringstream(square) >> lower;
    std::istringstream(square) >> upper;
    EXPECT_EQ("1 0 0|4 5 0|7 8 9", text(lower));
    EXPECT_EQ("1 2 3|0 5 6|0 0 9", text(upper));
    std::istringstream("2x3 [1 2 3 4 5 6]") >> sym;
    EXPECT_EQ("2x3 matrix not square", errors.takeText());
    std::istringstream("2x3 [1 2 3]") >> sym;
    EXPECT_EQ("wrong number of elements (3) for DoubleSymMat (2x3)", errors.takeText());
    EXPECT_EQ("0.5 0.5|0.5 0.5", text(sym));
    std::istringstream(square) >> sym;
    EXPECT_EQ("1 4 7|4 5 8|7 8 9", text(sym));
}

TEST(MatText, ReadingKeepsTheViewWhenTheShapeStays) {
    DoubleGenMat m(2, 2, 0.0), view(m);
    std::istringstream("2x2 [0 1 2 -0.0]") >> m;
    EXPECT_EQ("0 1|2 0", text(view));  // an equal cell is not written: no -0
    std::istringstream("1x1 [5]") >> m;
    EXPECT_EQ("0 1|2 0", text(view));
}

}  // namespace
