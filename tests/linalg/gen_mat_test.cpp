// What could break: which cell an index, a row or a diagonal names, what shares elements, and what
// is reported (and survived) when a check fails.
#include <gtest/gtest.h>

#include <climits>

#include "KelvoBase/packed_mat.h"
#include "tests/linalg/mat_support.h"
#include "tests/linalg/recorded_errors.h"
#include "tests/linalg/vec_support.h"

namespace {

using namespace kelvo::test;

const double kSix[] = {1, 2, 3, 4, 5, 6};

DoubleGenMat twoByThree() {
    return DoubleGenMat(kSix, 2, 3);
}

TEST(GenMat, StoresColumnByColumnAndHandsOutViews) {
    DoubleVec v(6, 1.0, 1.0);
    DoubleGenMat m(v, 2, 3);
    EXPECT_EQ("1 3 5", text(m.row(0)));
    EXPECT_EQ("2 4 6", text(m.row(1)));
    EXPECT_EQ("3 4", text(m.col(1)));
    m.col(1) = 9.0;
    v[0] = -1.0;
    m.row(1)[2] = 8.0;
    EXPECT_EQ("-1 9 5|2 9 8", text(m));
    EXPECT_EQ(v.data(), m.data());
    EXPECT_EQ(v.data(), m.dataVec().data());
    m.bcset(1, 0, 4.0);
    m.bcref(0, 0) += 2.0;
    m(0, 2) = m.sub(1, 2) + m.val(1, 0);
    m.set(1, 1, 7);
    m.ref(0, 1) = -m.bcval(1, 1);
    EXPECT_EQ("1 -7 12|4 7 8", text(m));
}

TEST(GenMat, ViewsOfAStridedMatrixSkipWhatLiesBetween) {
    DoubleVec v(12, 0.0, 1.0);
    DoubleGenMat m(v.slice(11, 6, -2), 3, 2);  // 11 9 7 | 5 3 1
    EXPECT_EQ("11 5|9 3|7 1", text(m));
    EXPECT_EQ("9 3", text(m.row(1)));
    EXPECT_EQ("11 3", text(m.diagonal()));
    EXPECT_EQ("9 1", text(m.diagonal(-1)));
    m.row(2) = 0.0;
    EXPECT_EQ("0 0 2 3 4 5 6 0 8 9 10 11", text(v));
}

TEST(GenMat, Diagonals) {
    DoubleGenMat m(4, 3);
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 3; ++j) m(i, j) = 10 * i + j;
    const struct {
        int k;
        const char* elements;
    } kRows[] = {{0, "0 11 22"}, {1, "1 12"}, {2, "2"}, {-1, "10 21 32"}, {-2, "20 31"},
                 {-3, "30"},     {3, ""},     {-4, ""}, {INT_MIN, ""},    {INT_MAX, ""}};
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.k);
        EXPECT_EQ(row.elements, text(m.diagonal(row.k)));
        RecordedErrors errors;
        EXPECT_EQ(row.elements, text(m.bcdiagonal(row.k)));
        EXPECT_EQ(*row.elements ? 0u : 1u, errors.take().size());
    }
    m.diagonal(1) = 0.0;
    EXPECT_EQ(0.0, m(1, 2));
}

TEST(GenMat, Constructors) {
    EXPECT_EQ(0u, DoubleGenMat().rows() + DoubleGenMat().cols());
    EXPECT_EQ("7 7|7 7|7 7", text(IntGenMat(3, 2, 7)));
    EXPECT_EQ("1 3 5|2 4 6", text(twoByThree()));
    const DoubleGenMat fractions = twoByThree() * -1.7;
    EXPECT_EQ("-1 -5 -8|-3 -6 -10", text(toInt(fractions)));
    EXPECT_EQ("-1 -5 -8|-3 -6 -10", text(DoubleGenMat(toInt(fractions))));
    DoubleGenMat a = twoByThree(), b(a), c = a.copy();
    b(0, 0) = 9;
    EXPECT_EQ(9, a(0, 0));
    EXPECT_EQ(1, c(0, 0));
}

TEST(GenMat, Arithmetic) {
    const DoubleGenMat a = twoByThree(), b = 7.0 - a;
    EXPECT_EQ("6 4 2|5 3 1", text(b));
    EXPECT_EQ("7 7 7|7 7 7", text(a + b));
    EXPECT_EQ("6 12 10|10 12 6", text(a * b));
    EXPECT_EQ("-5 -1 3|-3 1 5", text(a - b));
    EXPECT_EQ("60 20 12|30 15 10", text(60.0 / a));
    EXPECT_EQ("1 3 5|2 4 6", text((a * b) / b));
    EXPECT_EQ("5 1 3|3 1 5", text(abs(a - b)));
    EXPECT_EQ("-2 0 2|-1 1 3", text(a - 3.0));
    EXPECT_EQ("1 9 25|4 16 36", text(a.apply([](double x) { return x * x; })));
    // By the reciprocal, as the vectors do it.
    EXPECT_EQ(5.0 * (1.0 / 49.0), (a / 49.0)(0, 2));
    DoubleGenMat c = a.copy();
    ((c += a) *= b) -= 1.0;
    EXPECT_EQ("11 23 19|19 23 11", text(c));
    ++(c /= DoubleGenMat(2, 3, 1.0));
    --c;
    EXPECT_EQ("-11 -23 -19|-19 -23 -11", text(-c));
    EXPECT_EQ(1, a == twoByThree());
    EXPECT_EQ(0, a != twoByThree());
    EXPECT_EQ(0, a == c);
    EXPECT_EQ(1, a != DoubleGenMat(kSix, 3, 2));
    const IntGenMat most(1, 1, INT_MAX);
    EXPECT_EQ(INT_MIN, (most + 1)(0, 0));
}

TEST(GenMat, OverlappingOperandsCountAsTheyWere) {
    DoubleVec v(5, 1.0, 1.0);
    DoubleGenMat head(v.slice(0, 4, 1), 2, 2), tail(v.slice(1, 4, 1), 2, 2);
    tail = head;
    EXPECT_EQ("1 1 2 3 4", text(v));
    tail += head;
    EXPECT_EQ("1 2 3 5 7", text(v));
}

TEST(GenMatPick, ReadsAndWritesThePickedCells) {
    DoubleGenMat m = twoByThree();
    const DoubleGenMatPick pick = m.matPick(indicesOf({1, 0}), indicesOf({2, 0, 0}));
    EXPECT_EQ(2u, pick.rows());
    EXPECT_EQ(3u, pick.cols());
    EXPECT_EQ("6 2 2|5 1 1", text(DoubleGenMat(pick)));
    EXPECT_EQ("12 4 4|10 2 2", text(pick + DoubleGenMat(pick)));
    m(indicesOf({0}), indicesOf({1, 2})) = DoubleGenMat(1, 2, -1.0);
    EXPECT_EQ("1 -1 -1|2 4 6", text(m));
    m(indicesOf({0, 1}), indicesOf({0})) = m(indicesOf({1, 0}), indicesOf({0}));  // exchange
    EXPECT_EQ("2 -1 -1|1 4 6", text(m));
    m = m(indicesOf({1, 0}), indicesOf({2, 1, 0}));
    EXPECT_EQ("6 4 1|-1 -1 2", text(m));
    m(indicesOf({0}), indicesOf({0, 1})) = 3.0;
    m(indicesOf({1}), indicesOf({1})).zero();
    EXPECT_EQ("3 3 1|-1 0 2", text(m));
    IntGenMat whole(2, 2, 1);
    whole(indicesOf({1}), indicesOf({0})) = 5;
    EXPECT_EQ("1 1|5 1", text(whole));
}

TEST(GenMatPick, ReportsIndicesFromTheLastToTheFirst) {
    RecordedErrors errors;
    DoubleGenMat m = twoByThree();
    DoubleGenMatPick pick = m(indicesOf({2, 0, -1}), indicesOf({7, 1}));
    EXPECT_EQ(
        "Matrix pick out of range: index -1 not in 0->1\n"
        "Matrix pick out of range: index 2 not in 0->1\n"
        "Matrix pick out of range: index 7 not in 0->2",
        errors.takeText());
    pick = 9.0;
    EXPECT_EQ("1 9 5|2 4 6", text(m));
    EXPECT_EQ("0 0|0 9|0 0", text(DoubleGenMat(pick)));
    EXPECT_EQ(0.0, pick.val(5, -3));
    m.matPick(indicesOf({0}), indicesOf({0})) = m;
    EXPECT_EQ("Matrix sizes don't match (1x1) vs (2x3)", errors.takeText());
    m = m(indicesOf({1, 1, 1}), indicesOf({1}));
    EXPECT_EQ("Matrix sizes don't match (2x3) vs (3x1)", errors.takeText());
    EXPECT_EQ("4 9 5|4 4 6", text(m));
    DoubleGenMat()(indicesOf({0}), indicesOf({}));
    EXPECT_EQ("Matrix pick out of range: index 0 not in 0->-1", errors.takeText());
}

// Each call fails a check, gets the report and goes on with `result`, which is the matrix itself
// where it changes.
TEST(GenMat, Reports) {
    using G = DoubleGenMat;
    const std::string sizes = "Matrix sizes don't match (2x3) vs ", kept = "1 3 5|2 4 6",
                      element = ") not in matrix of size (2x3)",
                      diagonal = " not in DoubleGenMat matrix of size (2x3)",
                      memory = "[NOMEM: RWBlock]: Out of memory";
    const struct {
        std::string report, result;
        std::string (*call)(G& m);
    } kRows[] = {
        {"Element (2x0" + element, "3", [](G& m) { return printed(m.bcval(2, 0)); }},
        {"Element (0x3" + element, "0", [](G& m) { return printed(m.bcval(0, 3)); }},
        {"Element (-1x1" + element, "1 3 5|9 4 6", [](G& m) { return m.bcset(-1, 1, 9), text(m); }},
        {"Element (-2147483648x2147483647" + element, kept,
         [](G& m) { return m.bcref(INT_MIN, INT_MAX) = 9, text(m); }},
        {"Row (2) not in matrix with 2 rows", "0 0 0", [](G& m) { return text(m.bcrow(2)); }},
        {"Row (-1) not in matrix with 2 rows", kept,
         [](G& m) { return m.bcrow(-1) = 5.0, text(m); }},
        {"Column (3) not in matrix with 3 columns", "0 0", [](G& m) { return text(m.bccol(3)); }},
        {"Diagonal -3" + diagonal, "", [](G& m) { return text(m.bcdiagonal(3)); }},
        {"Diagonal 2" + diagonal, "", [](G& m) { return text(m.bcdiagonal(-2)); }},
        {sizes + "(3x2)", "8 8 8|8 8 8", [](G& m) { return text(m = G(3, 2, 8.0)); }},
        {sizes + "(2x2)", "8 8 5|8 8 6", [](G& m) { return text(m = G(2, 2, 8.0)); }},
        {sizes + "(1x2)", "9 3 5|10 4 6", [](G& m) { return text(m += G(1, 2, 8.0)); }},
        {sizes + "(4x4)", "3 5 7|4 6 8", [](G& m) { return text(m + G(4, 4, 2.0)); }},
        {sizes + "(1x1)", "2 0 0|0 0 0", [](G& m) { return text(m / G(1, 1, 0.5)); }},
        {"Wrong number of points (4) for 2x3 DoubleGenMat", "7 7 0|7 7 0",
         [](G&) { return text(G(DoubleVec(4, 7.0), 2, 3)); }},
        {"Wrong number of points (6) for 2x2 DoubleGenMat", "0 0 5|0 0 6",
         [](G& m) { return G(m.dataVec(), 2, 2) = 0.0, text(m); }},
        {memory, "", [](G&) { return text(G(65536, 65536)); }},
        {memory, kept, [](G& m) { return m.resize(2, UINT_MAX), text(m); }},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.report);
        RecordedErrors errors;
        G m = twoByThree();
        EXPECT_EQ(row.result, row.call(m));
        EXPECT_TRUE(text(m) == kept || text(m) == row.result);
        const auto reports = errors.take();
        ASSERT_EQ(1u, reports.size());
        EXPECT_EQ(row.report, reports[0].text);
        EXPECT_EQ(reports[0].id == 0x3008 ? 0x901A : 0xF000, reports[0].classCode);
    }
    RecordedErrors errors;
    IntGenMat(IntVec(), 1, 1).bcdiagonal(1);
    EXPECT_EQ(
        "Wrong number of points (0) for 1x1 IntGenMat\n"
        "Diagonal -1 not in IntGenMat matrix of size (1x1)",
        errors.takeText());
}

}  // namespace
