// What could break here: where a point starts, which results are views and which are copies, ranges
// at and beyond the ends, and the end of the process on a bad index.
#include "KelvoBase/tuple_containers.h"

#include <gtest/gtest.h>

#include <climits>
#include <sstream>

#include "tests/linalg/recorded_errors.h"
#include "tests/linalg/vec_support.h"
#include "tests/support/child_process.h"

namespace {

using namespace kelvo::test;

TEST(TupleVector, Construction) {
    double flat[] = {1, 2, 3, 4};
    double* points[] = {flat + 2, nullptr, flat};
    const struct {
        TtupleVector made;
        int size, points;
        DoubleVec data;
    } kCases[] = {
        {TtupleVector(), 1, 0, DoubleVec()},
        {TtupleVector(2, 2, 7.0), 2, 2, DoubleVec(4, 7.0)},
        {TtupleVector(0, 5, 1.0), 1, 0, DoubleVec()},  // raised after the product
        {TtupleVector(-2, -3, 1.0), 1, 0, DoubleVec()},
        {TtupleVector(2, 2, flat), 2, 2, vectorOf({1, 2, 3, 4})},
        {TtupleVector(2, 3, points), 2, 3, vectorOf({3, 4, 0, 0, 1, 2})},
        {TtupleVector(2, 3, static_cast<double**>(nullptr)), 2, 0, DoubleVec()},
        {TtupleVector(3, ramp(8)), 3, 2, ramp(8)},
        {TtupleVector(-4, ramp(2)), 1, 2, ramp(2)},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(&c - kCases);
        EXPECT_EQ(c.size, c.made.size());
        EXPECT_EQ(c.points, c.made.points());
        EXPECT_EQ(c.data, c.made.data());
    }
}

TEST(TupleVector, ViewsWriteThroughAndCopiesDoNot) {
    TtupleVector t(3, ramp(12));
    EXPECT_EQ(vectorOf({9, 10, 11}), t.point(3));
    EXPECT_TRUE(t.point(3) == t(3) && t.point(3) == t[3]);
    EXPECT_EQ(vectorOf({2, 5, 8, 11}), t.component(2));
    EXPECT_EQ(0u, t.component(3).length() + t.component(-1).length());
    const TtupleVector shared(t), independent = t.copy(), selected = t.rPoints(1, 2);
    TtupleVector referring, detached(t);
    referring.reference(t);
    detached.deepenShallowCopy();
    t.point(1) = 50.0;
    t.component(0) = 60.0;
    t.lPoints(2, 2).point(1)(2) = 70;
    const DoubleVec changed = vectorOf({60, 1, 2, 60, 50, 50, 60, 7, 8, 60, 10, 70});
    for (const TtupleVector& view : {t, shared, referring}) EXPECT_EQ(changed, view.data());
    for (const TtupleVector& own : {independent, detached}) EXPECT_EQ(ramp(12), own.data());
    EXPECT_EQ(vectorOf({3, 4, 5, 6, 7, 8}), selected.data());
}

TEST(TupleVector, Selections) {
    const TtupleVector t(2, ramp(8));
    const struct {
        int start, count, found;
    } kRanges[] = {{0, 4, 4}, {1, 2, 2},  {3, 1, 1},  {2, 0, 0},       {3, 2, 0},
                   {4, 1, 0}, {-1, 2, 0}, {2, -1, 0}, {1, INT_MAX, 0}, {INT_MIN, 1, 0}};
    for (const auto& r : kRanges) {
        SCOPED_TRACE(testing::Message() << r.start << ", " << r.count);
        for (const auto& found : {t.lPoints(r.start, r.count), t.rPoints(r.start, r.count)}) {
            EXPECT_EQ(2, found.size());
            ASSERT_EQ(r.found, found.points());
            EXPECT_TRUE(r.found == 0 || t.point(r.start) == found.point(0));
        }
    }
    const TtupleVector u(3, ramp(9));
    EXPECT_EQ(vectorOf({6, 7, 8, 0, 1, 2, 6, 7, 8}), u.rPoints(indicesOf({2, 0, 2})).data());
    EXPECT_EQ(2, u.components(indicesOf({2, 0})).size());
    EXPECT_EQ(vectorOf({2, 0, 5, 3, 8, 6}), u.components(indicesOf({2, 0})).data());
    EXPECT_EQ(vectorOf({1, 2, 4, 5, 7, 8}), u.components(1, 2).data());
    for (const TtupleVector& none :
         {u.rPoints(indicesOf({0, 3})), u.rPoints(IntVec()), u.components(indicesOf({0, -1})),
          u.components(IntVec()), u.components(2, 2), u.components(0, INT_MAX)}) {
        EXPECT_EQ(3, none.size());
        EXPECT_EQ(0, none.points());
    }
}

TEST(TupleVector, SetPoints) {
    const TtupleVector source(2, vectorOf({91, 92, 93, 94})), wide(4, 1, 0.0);
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
    EXPECT_EQ(0, t.setPoints(indicesOf({1, 3}), source));
    EXPECT_EQ(0, t.setPoints(indicesOf({0}), wide));
    EXPECT_EQ(1, t.setPoints(IntVec(), wide));
    EXPECT_EQ(vectorOf({93, 94, 2, 3, 4, 5, 91, 92, 8}), t.data());
    TtupleVector own(1, ramp(4));  // onto itself: the values before the call count
    EXPECT_EQ(1, own.setPoints(1, 3, own));
    EXPECT_EQ(vectorOf({0, 0, 1, 2}), own.data());
}

TEST(TupleVector, AssignmentLengthsAndText) {
    RecordedErrors errors;
    const DoubleVec elements = ramp(6);
    TtupleVector t(3, elements);
    t = TtupleVector(2, 3, 5.0);
    EXPECT_EQ(2, t.size());
    EXPECT_EQ(DoubleVec(6, 5.0), elements);
    t = TtupleVector(1, 2, 4.0);
    EXPECT_EQ("[VNMATCH: DoubleVec]: Vector lengths do not match (6 vs 2)", errors.takeText());
    EXPECT_EQ(vectorOf({4, 4, 5, 5, 5, 5}), elements);
    EXPECT_EQ(0, TtupleVector(INT_MAX, INT_MAX, 0.0).points());
    EXPECT_EQ("[NOMEM: RWBlock]: Out of memory", errors.takeText());
    EXPECT_EQ(0, TtupleVector(1, ramp(1).slice(0, 3000000000u, 0)).points());
    EXPECT_EQ("[NOMEM: RWBlock]: Out of memory", errors.takeText());
    EXPECT_EQ(vectorOf({5, 0, 1e200}), TtupleVector(2, vectorOf({3, 4, 0, 0, 1e200, 0})).vecLen());
    std::stringstream printed, raw;
    TtupleVector(2, ramp(4)).printOn(printed);
    TtupleVector(2, ramp(4)).printRaw(raw);
    EXPECT_EQ("[ 0 1 2 3 ]", printed.str());
    EXPECT_EQ(printed.str(), raw.str());
    TtupleVector read(2, 9, 0.0);
    read.readRaw(raw);
    EXPECT_EQ(2, read.points());
    EXPECT_EQ(ramp(4), read.data());
}

struct CheckedMatrix : TtupleMatrix {
    using TtupleMatrix::boundsCheck;
    using TtupleMatrix::TtupleMatrix;
};

TEST(TupleContainers, BadIndicesAbort) {
    const TtupleVector t(2, ramp(6));
    const CheckedMatrix m(1, 2, 3, 0.0);
    const struct {
        int row, col;  // row only: of the vector
        const char* report;
    } kCases[] = {{-1, INT_MIN, "bad index, -1 ) in FILE auto\\containers\\TtupleVector LINE 36\n"},
                  {3, INT_MIN, "bad index, 3 ) in FILE auto\\containers\\TtupleVector LINE 36\n"},
                  {2, 9, "bad row, 2 ) in FILE auto\\containers\\TtupleMatrix LINE 37\n"},
                  {-1, 0, "bad row, -1 ) in FILE auto\\containers\\TtupleMatrix LINE 37\n"},
                  {1, 3, "bad column, 3 ) in FILE auto\\containers\\TtupleMatrix LINE 41\n"},
                  {0, -7, "bad column, -7 ) in FILE auto\\containers\\TtupleMatrix LINE 41\n"}};
    for (const auto& c : kCases) {
        const auto body = [&] {
            if (c.col == INT_MIN) static_cast<void>(t[c.row]);
            m.boundsCheck(c.row, c.col);
        };
        EXPECT_TRUE(abortsWithReport(body, std::string("**** Bounds checking ( ") + c.report));
    }
    m.boundsCheck(1, 2);
    // Not checked: only a view is made.
    EXPECT_EQ(2u, t.point(-1).length());
    EXPECT_EQ(1u, TtupleVector().point(5).length());
}

TEST(TupleMatrix, PointsRowsAndColumns) {
    TtupleMatrix m(2, 2, 3, ramp(12));
    EXPECT_EQ(vectorOf({10, 11}), m.point(1, 2));
    EXPECT_EQ(vectorOf({4, 5}), m(0, 1));
    EXPECT_EQ(vectorOf({2, 3, 6, 7, 10, 11}), m.row(1));
    EXPECT_EQ(vectorOf({4, 5, 6, 7}), m.column(1));
    EXPECT_EQ(vectorOf({6, 7}), m.rowVector(1).point(1));
    m.row(0) = 99.0;  // a copy
    m.columnVector(1).point(0)(0) = 40;
    EXPECT_EQ(vectorOf({0, 1, 2, 3, 40}), m.data().slice(0, 5));
    for (int outside : {-1, 3}) {
        EXPECT_EQ(0u, m.row(outside).length() + m.column(outside).length());
        EXPECT_EQ(2, m.rowVector(outside).size());
    }
    EXPECT_EQ(10, TtupleMatrix(2, 1, 2, vectorOf({3, 4, 6, 8})).vecLen().val(0, 1));
}

TEST(TupleMatrix, Components) {
    TtupleMatrix m(2, 2, 3, ramp(12));
    EXPECT_EQ(2u, m.component(1).rows());
    EXPECT_EQ(vectorOf({3, 7, 11}), m.component(1).row(1));
    EXPECT_EQ(1, m.setComponent(1, DoubleGenMat(2, 3, -1.0)));
    EXPECT_EQ(0, m.setComponent(2, DoubleGenMat(2, 3, 5.0)));
    EXPECT_EQ(0, m.setComponent(-1, DoubleGenMat()));
    EXPECT_EQ(0, m.setComponent(0, DoubleGenMat(3, 2, 5.0)));
    EXPECT_EQ(vectorOf({0, -1, 2, -1, 4, -1, 6, -1, 8, -1, 10, -1}), m.data());
    EXPECT_EQ(0u, m.component(2).rows());
}

TEST(TupleMatrix, SelectionsAndStorage) {
    RecordedErrors errors;
    TtupleMatrix m(2, 2, 3, ramp(12));
    const TtupleMatrix rows = m.rows(indicesOf({1, 1, 0})), cols = m.cols(indicesOf({2, 0}));
    EXPECT_TRUE(rows.rows() == 3 && rows.cols() == 3 && cols.rows() == 2 && cols.cols() == 2);
    EXPECT_EQ(vectorOf({2, 3, 2, 3, 0, 1}), rows.column(0));
    EXPECT_EQ(vectorOf({8, 9, 10, 11, 0, 1, 2, 3}), cols.data());
    EXPECT_EQ(0, m.rows(indicesOf({0, 2})).rows());
    EXPECT_EQ(2, m.cols(indicesOf({-1})).size());
    TtupleMatrix copy = m.copy(), detached(m), referring;
    referring.reference(m);
    detached.deepenShallowCopy();
    m.point(0, 0) = 7.0;
    EXPECT_EQ(7, referring.data()(0));
    for (const TtupleMatrix& own : {copy, detached}) EXPECT_EQ(ramp(12), own.data());
    copy = TtupleMatrix(1, 4, 3, 5.0);
    EXPECT_EQ(DoubleVec(12, 5.0), copy.data());
    copy = TtupleMatrix(1, 1, 1, 6.0);
    EXPECT_EQ("[VNMATCH: DoubleVec]: Vector lengths do not match (12 vs 1)", errors.takeText());
    EXPECT_EQ(4, copy.rows());
    // Sizes that do not fit.
    EXPECT_EQ(vectorOf({0, 1, 2, 0, 0, 0}), TtupleMatrix(1, 2, 3, ramp(3)).data());
    EXPECT_EQ(1, TtupleMatrix(0, 2, 3, 1.0).size());
    EXPECT_EQ(0u, TtupleMatrix(2, -1, -1, 1.0).data().length());
    EXPECT_EQ(0, TtupleMatrix(1, INT_MAX, 3, 1.0).rows());
    EXPECT_EQ("[NOMEM: RWBlock]: Out of memory", errors.takeText());
}

}  // namespace
