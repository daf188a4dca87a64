// What could break: operations on matrices whose elements could not be allocated, storage that is
// lost when a handler throws, and products while the process ends.
#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>

#include "Base/ma.h"
#include "tests/linalg/mat_support.h"
#include "tests/linalg/recorded_errors.h"

namespace {

using kelvo::test::RecordedErrors;

template <class Mat>
void useGeneral(unsigned rows, unsigned cols) {
    Mat a(rows, cols, 3), b = a + a, c = transpose(b);
    a.bcset(1, 1, 7);
    a.row(1) = a.row(0);
    a.diagonal() += c.diagonal();
    b = product(product(a, c), a);
    b -= a * transposeProduct(c, transpose(b));
    c = transProduct(a, b);
    const auto x = product(a, b.row(0)), y = product(x, a);
    IntVec indices(2, 0);
    indices[1] = 1;
    a(indices, indices) = b(indices, indices);
    a = a(indices, indices);
    kronecker(a(indices, indices), b);
    a.resize(rows + 1, cols - 1);
    a.deepenShallowCopy();
    std::stringstream text;
    text << b;
    text >> a;
    abs(a.copy());
}

template <class Mat>
void usePacked(unsigned n) {
    Mat a(DoubleVec(n * (n + 1) / 2, 2.0), n, n), b = a / a;
    a(1, 0) = 2;
    a(0, 1) = 2;
    b += 1.0 - a.copy();
    b = a.leadingSubmatrix(2);
    product(a, a.row(1));
    product(a.diagonal(), transpose(b));
    toSymMat(DoubleGenMat(b));
    b.resize(n + 1, n + 1);
    std::stringstream text;
    text << a;
    text >> b;
}

void useEverything() {
    useGeneral<DoubleGenMat>(5, 4);
    useGeneral<IntGenMat>(3, 4);
    usePacked<DoubleSymMat>(4);
    usePacked<DoubleLowerTriMat>(3);
    usePacked<DoubleUpperTriMat>(5);
    const DoubleGenMat converted(toInt(DoubleGenMat(3, 3, 1.5)));
}

TEST(MatMemory, EveryOperationEndsWithoutMemory) {
    const long before = MA_liveBlocks();
    bool failed = true;
    int successes = 0;
    for (; failed && successes < 2000; ++successes) {
        RecordedErrors errors;
        MA_failAfter(successes);
        useEverything();
        MA_failAfter(-1);
        failed = false;
        for (const auto& report : errors.take()) failed = failed || report.id == 0x3008;
        ASSERT_EQ(before, MA_liveBlocks()) << successes;
    }
    EXPECT_GT(successes, 50);
    EXPECT_FALSE(failed);
}

struct Thrown {};

TEST(MatMemory, AHandlerThatThrowsLosesNothing) {
    const long before = MA_liveBlocks();
    const MathErrorHandler previous =
        setMathErrorHandler([](unsigned short, int, unsigned short, va_list) { throw Thrown(); });
    DoubleGenMat a(2, 3, 1.0), b(3, 2, 2.0);
    DoubleLowerTriMat lower(DoubleVec(3, 1.0), 2, 2);
    EXPECT_THROW(a = b, Thrown);
    EXPECT_THROW(a + b, Thrown);
    EXPECT_THROW(product(a, a), Thrown);
    EXPECT_THROW(a.matPick(IntVec(1, 9), IntVec()), Thrown);
    EXPECT_THROW(DoubleGenMat(DoubleVec(3), 2, 2), Thrown);
    EXPECT_THROW(DoubleSymMat(2, 3), Thrown);
    EXPECT_THROW(lower(0, 1) = 3, Thrown);
    EXPECT_THROW(std::istringstream("2x2 []") >> a, Thrown);
    setMathErrorHandler(previous);
    EXPECT_EQ("1 1 1|1 1 1", kelvo::test::text(a));
    EXPECT_EQ("1 0|1 1", kelvo::test::text(lower));
    EXPECT_EQ(before + 3, MA_liveBlocks());
}

// Multiplies when the thread-local objects are gone.
struct LateProduct {
    DoubleGenMat a{200, 200, 1.0};
    ~LateProduct() {
        if (transposeProduct(a, a).val(199, 199) != 200.0) std::_Exit(1);
    }
};

TEST(MatMemory, StaticObjectsMultiplyInTheirDestructors) {
    const auto endProcess = [] {
        static const LateProduct late;
        transposeProduct(late.a, late.a);
        std::exit(0);
    };
    EXPECT_EXIT(endProcess(), testing::ExitedWithCode(0), "");
}

}  // namespace
