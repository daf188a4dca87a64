// What could break: which cell of the packed triangle an index names, what the zero part reads as
// and refuses, and what is shared.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <functional>

#include "tests/linalg/mat_support.h"
#include "tests/linalg/recorded_errors.h"

namespace {

using namespace kelvo::test;

TEST(PackedMat, Packing) {
    const DoubleVec v = counting(6);
    EXPECT_EQ("1 0 0|2 3 0|4 5 6", text(DoubleLowerTriMat(v, 3, 3)));
    EXPECT_EQ("1 2 4|0 3 5|0 0 6", text(DoubleUpperTriMat(v, 3, 3)));
    EXPECT_EQ("1 2 4|2 3 5|4 5 6", text(DoubleSymMat(v, 3, 3)));
    EXPECT_EQ("1 2 4|2 3 5|4 5 6", text(DoubleGenMat(DoubleSymMat(v, 3, 3))));
    EXPECT_EQ("1 0 0|2 3 0|4 5 6", text(DoubleGenMat(DoubleLowerTriMat(v, 3, 3))));
    EXPECT_EQ("1 2 4|0 3 5|0 0 6", text(DoubleGenMat(DoubleUpperTriMat(v, 3, 3))));
    // Sharing, and the views that keep it.
    DoubleLowerTriMat lower(v, 3, 3);
    DoubleUpperTriMat upper = transpose(lower);
    upper(0, 2) = -1;
    EXPECT_EQ("1 2 3 -1 5 6", text(v));
    transpose(upper)(1, 0) = -2;
    lower.leadingSubmatrix(2)(1, 1) = -3;
    EXPECT_EQ("1 -2 -3 -1 5 6", text(v));
    DoubleSymMat s(v, 3, 3);
    s.set(0, 2, 7);
    EXPECT_EQ(7, s.val(2, 0));
    EXPECT_EQ(7, transpose(s).val(0, 2));
    EXPECT_EQ(7, v[3]);
    s.ref(2, 1) += 1;
    s(1, 2) += 1;
    EXPECT_EQ(7, s.bcval(1, 2));
}

TEST(PackedMat, RowsColumnsDiagonalsAreCopiesOfTheSquare) {
    const DoubleVec v = counting(6);
    const DoubleLowerTriMat lower(v, 3, 3);
    const DoubleUpperTriMat upper(v, 3, 3);
    const DoubleSymMat sym(v, 3, 3);
    EXPECT_EQ("2 3 0", text(lower.row(1)));
    EXPECT_EQ("0 3 5", text(lower.bccol(1)));
    EXPECT_EQ("2 5", text(lower.diagonal(-1)));
    EXPECT_EQ("0 0", text(lower.bcdiagonal(1)));
    EXPECT_EQ("1 3 6", text(upper.diagonal()));
    EXPECT_EQ("0 0 6", text(upper.bcrow(2)));
    EXPECT_EQ("4", text(sym.diagonal(2)));
    EXPECT_EQ("", text(sym.diagonal(-3)));
    sym.row(0) = 0.0;
    EXPECT_EQ(1, v[0]);
}

TEST(PackedMat, ConversionsFromGeneral) {
    const double kValues[] = {1, 4, 2, 3};  // 1 2 | 4 3
    const DoubleGenMat m(kValues, 2, 2);
    EXPECT_EQ("1 3|3 3", text(toSymMat(m)));
    EXPECT_EQ("1 0|4 3", text(toLowerTriMat(m)));
    EXPECT_EQ("1 2|0 3", text(toUpperTriMat(m)));
    // Not square: the order is the number of columns.
    EXPECT_EQ("1", text(toSymMat(DoubleGenMat(kValues, 4, 1))));
    EXPECT_EQ("1 2 1 1.5|2 0 0 0|1 0 0 0|1.5 0 0 0", text(toSymMat(DoubleGenMat(kValues, 1, 4))));
    EXPECT_EQ("1 4 2 3|0 0 0 0|0 0 0 0|0 0 0 0", text(toUpperTriMat(DoubleGenMat(kValues, 1, 4))));
    EXPECT_EQ("1 0 0 0|0 0 0 0|0 0 0 0|0 0 0 0", text(toLowerTriMat(DoubleGenMat(kValues, 1, 4))));
}

TEST(PackedMat, ArithmeticGoesOverTheStoredTriangle) {
    const DoubleUpperTriMat u(counting(3), 2, 2);
    EXPECT_EQ("3 4|0 5", text(u + 2.0));
    EXPECT_EQ("1 4|0 9", text(u * u));
    EXPECT_EQ("0 -1|0 -2", text(1.0 - u));
    EXPECT_EQ("1 1|0 1", text(u.apply([](double) { return 1.0; })));
    EXPECT_EQ(1, u == DoubleUpperTriMat(counting(3), 2, 2));
    EXPECT_EQ(1, u != DoubleUpperTriMat(counting(1), 1, 1));
    EXPECT_EQ(1, u != DoubleUpperTriMat());
}

TEST(RODRef, TheZeroPartStaysZero) {
    RecordedErrors errors;
    DoubleLowerTriMat m(counting(6), 3, 3);
    m(2, 0) = m(1, 1);
    m(1, 0) += 5;
    m.ref(0, 0) *= 3;
    m.bcref(2, 2) /= 2;
    m(2, 1) -= 1;
    EXPECT_EQ("", errors.takeText());
    EXPECT_EQ("3 0 0|7 3 0|3 4 3", text(m));
    EXPECT_EQ(0, m(2, 0).isReadOnly());
    EXPECT_EQ(1, m(0, 2).isReadOnly());
    m(0, 2) = 4;
    m.bcref(0, 1) -= 2.5;
    EXPECT_EQ(
        "Constant reference was changed from 0 to 4\nConstant reference was changed from 0 to -2.5",
        errors.takeText());
    m(0, 2) = 0.0;
    m(0, 1) = m(1, 2);
    EXPECT_EQ("", errors.takeText());
    EXPECT_EQ("3 0 0|7 3 0|3 4 3", text(m));
    EXPECT_EQ(0.0, DoubleUpperTriMat(m.dataVec(), 3, 3)(2, 0));
}

TEST(PackedMat, Reports) {
    RecordedErrors errors;
    DoubleLowerTriMat lower(counting(6), 3, 3);
    DoubleUpperTriMat upper(counting(6), 3, 3);
    DoubleSymMat sym(counting(6), 3, 3);
    const std::string element = ") not in matrix of size (3x3)", inner = "inner product not ";
    // In this order: what is stored counts for the next ones.
    const struct {
        std::string report, result;
        std::function<std::string()> call;
    } kRows[] = {
        // Stored at the packed place all the same.
        {"Can't change element (0,2) of DoubleLowerTriMat", "1 0 0|2 9 0|4 5 6",
         [&] { return lower.bcset(0, 2, 9), text(lower); }},
        {"Can't change element (1,0) of DoubleUpperTriMat", "1 9 4|0 3 5|0 0 6",
         [&] { return upper.bcset(1, 0, 9), text(upper); }},
        {"Element (3x1" + element, "0", [&] { return printed(lower.bcval(3, 1)); }},
        {"Element (0x3" + element, "1", [&] { return printed(lower.bcref(0, 3).isReadOnly()); }},
        {"Element (1x-1" + element, "1", [&] { return printed(lower.bcval(1, -1)); }},
        {"Element (3x0" + element, "1 2 4|2 3 5|4 5 6",
         [&] { return sym.bcset(3, 0, 1), text(sym); }},
        {"Element (7x2147483647" + element, "1 2 4|2 3 5|4 5 6",
         [&] { return sym.bcref(7, INT_MAX) = 1, text(sym); }},
        {"Row (3) not in matrix with 3 rows", "0 0 0", [&] { return text(sym.bcrow(3)); }},
        {"Column (-1) not in matrix with 3 columns", "0 0 0", [&] { return text(sym.bccol(-1)); }},
        {"Diagonal -3 not in DoubleSymMat matrix of size (3x3)", "",
         [&] { return text(sym.bcdiagonal(3)); }},
        {"cant build order 4 leading submatrix of order 3 matrix", "",
         [&] { return text(lower.leadingSubmatrix(4)); }},
        {"cant build order 4294967295 leading submatrix of order 3 matrix", "",
         [&] { return text(sym.leadingSubmatrix(-1)); }},
        {"2x3 matrix not square", "1 1|1 1", [&] { return text(DoubleSymMat(2, 3, 1.0)); }},
        {"3x4 matrix not square", "1 9 4|0 3 5|0 0 6",
         [&] { return upper.resize(3, 4), text(upper); }},
        {"Wrong number of points (2) for 2x2 DoubleUpperTriMat", "1 2|0 0",
         [&] { return text(DoubleUpperTriMat(counting(2), 2, 2)); }},
        {"[NOMEM: RWBlock]: Out of memory", "",
         [&] { return text(DoubleLowerTriMat(100000, 100000)); }},
        {"Matrix sizes don't match (3x3) vs (2x2)", "8 8 4|8 8 5|4 5 6",
         [&] { return text(sym = DoubleSymMat(2, 2, 8.0)); }},
        {inner + "possible between DoubleLowerTriMat (3x3) and vector (2)", "1 20 14",
         [&] { return text(product(lower, counting(2))); }},
        {inner + "possible vector(4) and DoubleUpperTriMat (3x3)", "1 15 32",
         [&] { return text(product(counting(4), upper)); }},
        {inner + "possible between DoubleSymMat (3x3) and vector (1)", "8 8 4",
         [&] { return text(product(sym, counting(1))); }},
    };
    for (const auto& row : kRows) {
        EXPECT_EQ(row.result, row.call()) << row.report;
        EXPECT_EQ(row.report, errors.takeText());
    }
}

// Against the full square, element by element.
TEST(PackedMat, ProductsWithVectors) {
    for (unsigned n : {0u, 1u, 2u, 3u, 4u, 7u, 8u, 9u, 33u}) {
        SCOPED_TRACE(n);
        const DoubleVec cells = 40.0 / (counting(n * (n + 1)) + 3.0);
        const DoubleVec data = cells.slice(0, n * (n + 1) / 2, 2);
        const DoubleVec x = counting(2 * n).slice(static_cast<int>(2 * n) - 1, n, -2);
        const auto expectProducts = [&](const auto& m) {
            const DoubleVec left = product(m, x), right = product(x, m);
            ASSERT_EQ(n, left.length());
            ASSERT_EQ(n, right.length());
            for (int i = 0; i < static_cast<int>(n); ++i) {
                double l = 0, r = 0;
                for (int j = 0; j < static_cast<int>(n); ++j) {
                    l += m.val(i, j) * x(j);
                    r += x(j) * m.val(j, i);
                }
                EXPECT_NEAR(l, left(i), 1e-14 * std::fabs(l));
                EXPECT_NEAR(r, right(i), 1e-14 * std::fabs(r));
            }
        };
        expectProducts(DoubleSymMat(data, n, n));
        expectProducts(DoubleLowerTriMat(data, n, n));
        expectProducts(DoubleUpperTriMat(data, n, n));
    }
}

}  // namespace
