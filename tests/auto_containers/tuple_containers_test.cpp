// What could break here: where a point starts, which results are views and which are copies, ranges
// at and beyond the ends, and the end of the process on a bad index.
#include "KelvoBase/tuple_containers.h"

#include <gtest/gtest.h>

#include <climits>
#include <sstream>

#include "tests/support/child_process.h"
#include "tests/support/math_error_capture.h"

namespace {

using namespace kelvo::test;

DoubleVec vectorOf(std::initializer_list<double> values) {
    return DoubleVec(values.begin(), static_cast<unsigned>(values.size()));
}

IntVec indicesOf(std::initializer_list<int> values) {
    return IntVec(values.begin(), static_cast<unsigned>(values.size()));
}

// Elements 0, 1, 2, ...
DoubleVec ramp(unsigned n) {
    return DoubleVec(n, 0.0, 1.0);
}

TEST(TupleVector, Construction) {
    double flat[] = {1, 2, 3, 4};
    double* points[] = {flat + 2, nullptr, flat};
    const struct {
        const char* what;
        TtupleVector made;
        int size, points;
        DoubleVec data;
    } kCases[] = {
        {"default", TtupleVector(), 1, 0, DoubleVec()},
        {"filled", TtupleVector(2, 2, 7.0), 2, 2, DoubleVec(4, 7.0)},
        {"size raised after the product", TtupleVector(0, 5, 1.0), 1, 0, DoubleVec()},
        {"both negative", TtupleVector(-2, -3, 1.0), 1, 0, DoubleVec()},
        {"negative count", TtupleVector(2, -1, flat), 2, 0, DoubleVec()},
        {"flat array", TtupleVector(2, 2, flat), 2, 2, vectorOf({1, 2, 3, 4})},
        {"array of points", TtupleVector(2, 3, points), 2, 3, vectorOf({3, 4, 0, 0, 1, 2})},
        {"null", TtupleVector(2, 3, static_cast<double**>(nullptr)), 2, 0, DoubleVec()},
        {"half a point left over", TtupleVector(3, ramp(8)), 3, 2, ramp(8)},
        {"size of a vector raised", TtupleVector(-4, ramp(2)), 1, 2, ramp(2)},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(c.size, c.made.size());
        EXPECT_EQ(c.points, c.made.points());
        EXPECT_EQ(c.data, c.made.data());
    }
}

TEST(TupleVector, ViewsWriteThroughAndCopiesDoNot) {
    TtupleVector t(3, ramp(12));
    EXPECT_EQ(vectorOf({9, 10, 11}), t.point(3));
    EXPECT_EQ(t.point(3), t(3));
    EXPECT_EQ(t.point(3), t[3]);
    EXPECT_EQ(vectorOf({2, 5, 8, 11}), t.component(2));
    EXPECT_EQ(0u, t.component(3).length());
    EXPECT_EQ(0u, t.component(-1).length());
    const TtupleVector shared(t), independent = t.copy(), selected = t.rPoints(1, 2);
    TtupleVector referring, detached(t);
    referring.reference(t);
    detached.deepenShallowCopy();
    t.point(1) = 50.0;
    t.component(0) = 60.0;
    t.lPoints(2, 2).point(1)(2) = 70;
    const DoubleVec changed = vectorOf({60, 1, 2, 60, 50, 50, 60, 7, 8, 60, 10, 70});
    EXPECT_EQ(changed, t.data());
    EXPECT_EQ(changed, shared.data());
    EXPECT_EQ(changed, referring.data());
    EXPECT_EQ(ramp(12), independent.data());
    EXPECT_EQ(ramp(12), detached.data());
    EXPECT_EQ(vectorOf({3, 4, 5, 6, 7, 8}), selected.data());
}

TEST(TupleVector, RangesThatDoNotExistAreEmpty) {
    const TtupleVector t(2, ramp(8));
    const struct {
        int start, count, found;
    } kRanges[] = {{0, 4, 4},       {1, 2, 2},       {3, 1, 1},      {2, 0, 0},
                   {3, 2, 0},       {4, 1, 0},       {-1, 2, 0},     {2, -1, 0},
                   {1, INT_MAX, 0}, {INT_MIN, 1, 0}, {INT_MAX, 2, 0}};
    for (const auto& r : kRanges) {
        SCOPED_TRACE(testing::Message() << r.start << ", " << r.count);
        for (const TtupleVector& found :
             {t.lPoints(r.start, r.count), t.rPoints(r.start, r.count)}) {
            EXPECT_EQ(2, found.size());
            ASSERT_EQ(r.found, found.points());
            if (r.found > 0) {
                EXPECT_EQ(t.point(r.start), found.point(0));
            }
        }
    }
}

TEST(TupleVector, SelectionsByIndex) {
    const TtupleVector t(3, ramp(9));
    EXPECT_EQ(vectorOf({6, 7, 8, 0, 1, 2, 6, 7, 8}), t.rPoints(indicesOf({2, 0, 2})).data());
    const TtupleVector swapped = t.components(indicesOf({2, 0}));
    EXPECT_EQ(2, swapped.size());
    EXPECT_EQ(vectorOf({2, 0, 5, 3, 8, 6}), swapped.data());
    EXPECT_EQ(vectorOf({1, 2, 4, 5, 7, 8}), t.components(1, 2).data());
    for (const TtupleVector& none :
         {t.rPoints(indicesOf({0, 3})), t.rPoints(IntVec()), t.components(indicesOf({0, -1})),
          t.components(IntVec()), t.components(2, 2), t.components(1, 0),
          t.components(0, INT_MAX)}) {
        EXPECT_EQ(3, none.size());
        EXPECT_EQ(0, none.points());
    }
}

TEST(TupleVector, SetPoints) {
    const TtupleVector source(2, vectorOf({91, 92, 93, 94}));
    const TtupleVector wide(4, 1, 0.0);
    const struct {
        const char* what;
        int start, count;
        TtupleVector source;
        int returns;
        DoubleVec after;
    } kCases[] = {
        {"leading coordinates", 1, 2, source, 1, vectorOf({0, 1, 2, 91, 92, 5, 93, 94, 8})},
        {"source too short", 0, 3, source, 1, vectorOf({91, 92, 2, 93, 94, 5, 6, 7, 8})},
        {"count 0 asks nothing", 9, 0, wide, 1, ramp(9)},
        {"source of higher dimension", 0, 1, wide, 0, ramp(9)},
        {"beyond the end", 2, 2, source, 0, ramp(9)},
        {"before the start", -1, 1, source, 0, ramp(9)},
        {"overflow", 1, INT_MAX, source, 0, ramp(9)},
        {"negative count", 0, -5, source, 1, ramp(9)},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        TtupleVector t(3, ramp(9));
        EXPECT_EQ(c.returns, t.setPoints(c.start, c.count, c.source));
        EXPECT_EQ(c.after, t.data());
    }
    TtupleVector t(3, ramp(9));
    EXPECT_EQ(1, t.setPoints(indicesOf({2, 0}), source));
    EXPECT_EQ(vectorOf({93, 94, 2, 3, 4, 5, 91, 92, 8}), t.data());
    EXPECT_EQ(0, t.setPoints(indicesOf({0, 3}), source));
    EXPECT_EQ(0, t.setPoints(indicesOf({0}), wide));
    EXPECT_EQ(1, t.setPoints(IntVec(), wide));
    // Onto itself: the values before the call count.
    TtupleVector own(1, ramp(4));
    EXPECT_EQ(1, own.setPoints(1, 3, own));
    EXPECT_EQ(vectorOf({0, 0, 1, 2}), own.data());
}

TEST(TupleVector, AssignmentCopiesValues) {
    MathErrorCapture errors;
    DoubleVec elements = ramp(6);
    TtupleVector t(3, elements);
    t = TtupleVector(2, 3, 5.0);
    EXPECT_EQ(2, t.size());
    EXPECT_EQ(DoubleVec(6, 5.0), elements);
    t = TtupleVector(1, 2, 4.0);
    EXPECT_EQ("[VNMATCH: DoubleVec]: Vector lengths do not match (6 vs 2)", errors.take());
    EXPECT_EQ(1, t.size());
    EXPECT_EQ(vectorOf({4, 4, 5, 5, 5, 5}), elements);
    EXPECT_EQ(0, TtupleVector(INT_MAX, INT_MAX, 0.0).points());
    EXPECT_EQ("[NOMEM: RWBlock]: Out of memory", errors.take());
}

TEST(TupleVector, LengthsAndText) {
    const TtupleVector t(2, vectorOf({3, 4, 0, 0, 1e200, 0}));
    EXPECT_EQ(vectorOf({5, 0, 1e200}), t.vecLen());
    std::ostringstream printed, raw;
    TtupleVector(2, ramp(4)).printOn(printed);
    TtupleVector(2, ramp(4)).printRaw(raw);
    EXPECT_EQ("[ 0 1 2 3 ]", printed.str());
    EXPECT_EQ(printed.str(), raw.str());
    TtupleVector read(2, 9, 0.0);
    std::istringstream in(raw.str());
    read.readRaw(in);
    EXPECT_EQ(2, read.points());
    EXPECT_EQ(ramp(4), read.data());
}

struct CheckedVector : TtupleVector {
    using TtupleVector::correctIndex;
    using TtupleVector::correctTuple;
    using TtupleVector::TtupleVector;
};

struct CheckedMatrix : TtupleMatrix {
    using TtupleMatrix::boundsCheck;
    using TtupleMatrix::correctCol;
    using TtupleMatrix::correctRow;
    using TtupleMatrix::correctTuple;
    using TtupleMatrix::TtupleMatrix;
};

TEST(TupleContainers, BadIndicesAbort) {
    const TtupleVector t(2, ramp(6));
    for (int i : {-1, 3}) {
        EXPECT_TRUE(abortsWithReport([&] { (void)t[i]; },
                                     "**** Bounds checking ( bad index, " + std::to_string(i) +
                                         " ) in FILE auto\\containers\\TtupleVector LINE 36\n"));
    }
    const CheckedMatrix m(1, 2, 3, 0.0);
    const struct {
        int row, col;
        const char* report;
    } kCases[] = {{2, 9, "bad row, 2 ) in FILE auto\\containers\\TtupleMatrix LINE 37\n"},
                  {-1, 0, "bad row, -1 ) in FILE auto\\containers\\TtupleMatrix LINE 37\n"},
                  {1, 3, "bad column, 3 ) in FILE auto\\containers\\TtupleMatrix LINE 41\n"},
                  {0, -7, "bad column, -7 ) in FILE auto\\containers\\TtupleMatrix LINE 41\n"}};
    for (const auto& c : kCases) {
        EXPECT_TRUE(abortsWithReport([&] { m.boundsCheck(c.row, c.col); },
                                     std::string("**** Bounds checking ( ") + c.report));
    }
    m.boundsCheck(1, 2);
    // Not checked: only a view is made.
    EXPECT_EQ(2u, t.point(-1).length());
    EXPECT_EQ(1u, TtupleVector().point(5).length());
    const CheckedVector v(2, 3, 0.0);
    for (int i = -1; i <= 4; ++i) {
        EXPECT_EQ(i >= 0 && i < 3, v.correctIndex(i)) << i;
        EXPECT_EQ(i >= 0 && i < 2, v.correctTuple(i)) << i;
        EXPECT_EQ(i == 0, m.correctTuple(i)) << i;
        EXPECT_EQ(i >= 0 && i < 2, m.correctRow(i)) << i;
        EXPECT_EQ(i >= 0 && i < 3, m.correctCol(i)) << i;
    }
}

TEST(TupleMatrix, PointsLieColumnAfterColumn) {
    TtupleMatrix m(2, 2, 3, ramp(12));
    EXPECT_EQ(vectorOf({10, 11}), m.point(1, 2));
    EXPECT_EQ(vectorOf({4, 5}), m(0, 1));
    EXPECT_EQ(vectorOf({2, 3, 6, 7, 10, 11}), m.row(1));
    EXPECT_EQ(vectorOf({4, 5, 6, 7}), m.column(1));
    EXPECT_EQ(vectorOf({6, 7}), m.rowVector(1).point(1));
    EXPECT_EQ(vectorOf({6, 7}), m.columnVector(1).point(1));
    m.columnVector(1).point(0)(0) = 40;
    m.row(0) = 99.0;
    EXPECT_EQ(40, m.data()(4));
    EXPECT_EQ(0, m.data()(0));
    for (int outside : {-1, 3}) {
        EXPECT_EQ(0u, m.row(outside).length());
        EXPECT_EQ(0, m.columnVector(outside).points());
        EXPECT_EQ(2, m.rowVector(outside).size());
    }
    const DoubleVec lengths = TtupleMatrix(2, 1, 2, vectorOf({3, 4, 6, 8})).vecLen().row(0);
    EXPECT_EQ(vectorOf({5, 10}), lengths);
}

TEST(TupleMatrix, Components) {
    TtupleMatrix m(2, 2, 3, ramp(12));
    const DoubleGenMat second = m.component(1);
    EXPECT_EQ(2u, second.rows());
    EXPECT_EQ(3u, second.cols());
    EXPECT_EQ(vectorOf({3, 7, 11}), second.row(1));
    EXPECT_EQ(1, m.setComponent(1, DoubleGenMat(2, 3, -1.0)));
    EXPECT_EQ(vectorOf({0, -1, 2, -1, 4, -1, 6, -1, 8, -1, 10, -1}), m.data());
    EXPECT_EQ(0, m.setComponent(2, DoubleGenMat(2, 3, 5.0)));
    EXPECT_EQ(0, m.setComponent(-1, DoubleGenMat()));
    EXPECT_EQ(0, m.setComponent(0, DoubleGenMat(3, 2, 5.0)));
    EXPECT_EQ(0u, m.component(2).rows());
    EXPECT_EQ(10, m.data()(10));
}

TEST(TupleMatrix, SelectionsAndStorage) {
    MathErrorCapture errors;
    TtupleMatrix m(2, 2, 3, ramp(12));
    const TtupleMatrix rows = m.rows(indicesOf({1, 1, 0})), cols = m.cols(indicesOf({2, 0}));
    EXPECT_EQ(3, rows.rows());
    EXPECT_EQ(3, rows.cols());
    EXPECT_EQ(vectorOf({2, 3, 2, 3, 0, 1}), rows.column(0));
    EXPECT_EQ(2, cols.cols());
    EXPECT_EQ(vectorOf({8, 9, 10, 11, 0, 1, 2, 3}), cols.data());
    EXPECT_EQ(0, m.rows(indicesOf({0, 2})).rows());
    EXPECT_EQ(2, m.cols(indicesOf({-1})).size());
    TtupleMatrix copy = m.copy(), shared(m), referring;
    referring.reference(m);
    shared.deepenShallowCopy();
    m.point(0, 0) = 7.0;
    EXPECT_EQ(7, referring.data()(0));
    EXPECT_EQ(ramp(12), copy.data());
    EXPECT_EQ(ramp(12), shared.data());
    copy = TtupleMatrix(1, 4, 3, 5.0);
    EXPECT_EQ(4, copy.rows());
    EXPECT_EQ(DoubleVec(12, 5.0), copy.data());
    copy = TtupleMatrix(1, 1, 1, 6.0);
    EXPECT_EQ("[VNMATCH: DoubleVec]: Vector lengths do not match (12 vs 1)", errors.take());
    EXPECT_EQ(4, copy.rows());
    // Sizes that do not fit.
    EXPECT_EQ(vectorOf({0, 1, 2, 0, 0, 0}), TtupleMatrix(1, 2, 3, ramp(3)).data());
    EXPECT_EQ(1, TtupleMatrix(0, 2, 3, 1.0).size());
    EXPECT_EQ(0u, TtupleMatrix(2, -1, -1, 1.0).data().length());
    EXPECT_EQ(0, TtupleMatrix(1, INT_MAX, 3, 1.0).rows());
    EXPECT_EQ("[NOMEM: RWBlock]: Out of memory", errors.take());
}

}  // namespace
