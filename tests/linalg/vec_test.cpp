// What could break: who shares what, texts and arguments of the checks, memory safety after a
// handler that returns, overload resolution, the free lists of records and of small blocks.
#include "KelvoBase/vec.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <functional>
#include <limits>
#include <vector>

#include "Base/ma.h"
#include "tests/linalg/recorded_errors.h"
#include "tests/linalg/vec_support.h"
#include "tests/support/child_process.h"

namespace {

using namespace kelvo::test;
using Doubles = std::vector<double>;
using Ints = std::vector<int>;

TEST(Vec, Construction) {
    const double plain[] = {3.0, 1.0, 2.0};
    EXPECT_EQ(Doubles(), values(DoubleVec()));
    EXPECT_EQ((Doubles{2, 2}), values(DoubleVec(2, 2)));
    EXPECT_EQ((Doubles{1, 1.5, 2, 2.5}), values(DoubleVec(4, 1.0, 0.5)));
    EXPECT_EQ((Doubles{3, 1, 2}), values(DoubleVec(plain, 3)));
    EXPECT_EQ((std::vector<signed char>{120, 127, -122}), values(SCharVec(3, 120, 7)));
    EXPECT_EQ(0u, IntVec(0, 0).length());
    // A running sum: ten times 0.1 added up is not 1.
    double sum = 0.0;
    for (int i = 0; i < 10; ++i) sum += 0.1;
    EXPECT_EQ(sum, DoubleVec(11, 0.0, 0.1)(10));
    EXPECT_NE(1.0, DoubleVec(11, 0.0, 0.1)(10));
    const DoubleVec empty;
    EXPECT_EQ(nullptr, empty.data());
    EXPECT_EQ(1, empty.stride());
}

TEST(Vec, ElementsInThreeStrengths) {
    DoubleVec v = ramp(7);
    DoubleVec w = v.slice(1, 3, 2);
    EXPECT_EQ((Doubles{1, 3, 5}), values(w));
    w(1) = 33;
    w[2] = 55;
    w.sub(1) = 22;  // ignores the stride
    EXPECT_EQ((Doubles{0, 1, 22, 33, 4, 55, 6}), values(v));
    EXPECT_EQ((Doubles{55, 1}), values(w.slice(2, 2, -2))) << "strides multiply";
    EXPECT_EQ(-4, w.slice(2, 2, -2).stride());
    const DoubleVec c(w);
    EXPECT_EQ(33.0 + 33.0 + 22.0, c[1] + c(1) + c.sub(1));
}

// What the random histories of the model leave out.
TEST(Vec, OverlappingOperandsCountAsTheyWere) {
    const IntVec order = indicesOf({3, 0, 2, 1});
    DoubleVec v = ramp(4);
    v.vecPick(order.slice(0, 2)) = v.vecPick(order.slice(1, 2));
    EXPECT_EQ((Doubles{2, 1, 2, 0}), values(v));
    v /= v(2);
    EXPECT_EQ((Doubles{1, 0.5, 1, 0}), values(v));
}

// Runs `run` on the vector 0 1 2 3 4 with a handler that returns.
template <class Run>
void expect(const std::string& text, const Doubles& result, Run run, int code = 0x900E) {
    SCOPED_TRACE(text);
    RecordedErrors errors;
    DoubleVec v = ramp(5);
    EXPECT_EQ(result, run(v));
    std::string reported;
    for (const auto& report : errors.take()) {
        reported += (reported.empty() ? "" : "\n") + report.text;
        EXPECT_EQ(code, report.classCode);
        EXPECT_EQ(1, report.severity);
    }
    EXPECT_EQ(text, reported);
}

TEST(Vec, ChecksReportAndGoOnWithinTheirMemory) {
    const int kBad[] = {2, -1, 5};
    const IntVec bad(kBad, 3), two(2, 3, 1);
    const std::string index = "[INDEX: DoubleVec]: Index ", pick = "[INDEX: DoubleVecPick]: Index ",
                      lengths = "[VNMATCH: DoubleVec]: Vector lengths do not match ",
                      pickLengths = "[VNMATCH: DoubleVecPick]: Vector lengths do not match ",
                      empty = ": vector is empty", end = " cannot be made from vector (5)";
    expect(index + "(7) out of range [0->4]\n" + index + "(7) out of range [0->4]", {5, 0},
           [](auto& v) {
               return Doubles{(v[7] = 5.0), v[7]};
           });
    expect(index + "(-1) out of range [0->4]", {0},
           [](auto& v) { return Doubles{std::as_const(v)[-1]}; });
    expect(index + "(0) out of range [0->4294967295]", {0},
           [](auto&) { return Doubles{DoubleVec()[0]}; });
    expect(lengths + "(5 vs 2)", {9, 10, 2, 3, 4},
           [](auto& v) { return values(v = ramp(2) + 9.0); });
    expect(lengths + "(5 vs 6)", {0, 1, 2, 3, 4}, [](auto& v) { return values(v = ramp(6)); });
    expect(lengths + "(5 vs 3)", {0, 1, 4, 3, 4}, [](auto& v) { return values(v *= ramp(3)); });
    expect(lengths + "(5 vs 3)", {0, 2, 4, 0, 0}, [](auto& v) { return values(v + ramp(3)); });
    expect(lengths + "(5 vs 3)", {1, 1, 4, 0, 0}, [](auto& v) { return values(pow(v, ramp(3))); });
    expect(lengths + "(3 vs 5)", {5}, [](auto& v) { return Doubles{dot(ramp(3), v)}; });
    expect("[SLICE: DoubleVec]: slice (1, 3, 2)" + end, {},
           [](auto& v) { return values(v.slice(1, 3, 2)); });
    expect("[SLICE: DoubleVec]: slice (-1, 1, 1)" + end, {},
           [](auto& v) { return values(v.slice(-1, 1)); });
    expect("[SLICE: DoubleVec]: slice (4, 3, -2147483648)" + end, {},
           [](auto& v) { return values(v.slice(4, 3, INT_MIN)); });
    expect("[STRIDE: DoubleVec]: Stride must be 1", {},
           [](auto& v) { return v.slice(0, 2, 2).strideCheck(), Doubles(); });
    expect("[ZEROVEC: DoubleVec]: maxIndex" + empty, {-1},
           [](auto&) { return Doubles{double(maxIndex(DoubleVec()))}; });
    expect("[ZEROVEC: DoubleVec]: maxIndex" + empty, {0},
           [](auto&) { return Doubles{maxValue(DoubleVec())}; });
    expect("[ZEROVEC: DoubleVec]: minIndex" + empty, {0},
           [](auto&) { return Doubles{minValue(DoubleVec())}; });
    expect(
        "[NPOINTS: DoubleVec]: Vector (1) Variance needs minimum of 2", {0},
        [](auto&) { return Doubles{variance(ramp(1))}; }, 0xF000);
    const auto badPicks = [&](auto& v) {
        DoubleVecPick p = v.vecPick(bad);
        p = 7.0;
        return Doubles{p(0), p(2), p(3), v(2)};
    };
    expect(pick + "(-1) out of range [0->4]\n" + pick + "(5) out of range [0->4]", {7, 0, 0, 7},
           badPicks, 0x900D);
    expect(
        pickLengths + "(2 vs 3)", {0, 1, 2, 7, 8},
        [&](auto& v) { return v.vecPick(two) = ramp(3) + 7.0, values(v); }, 0x900D);
    expect(
        pickLengths + "(2 vs 5)", {3, 4, 2, 3, 4},
        [&](auto& v) { return values(v = v.vecPick(two)); }, 0x900D);
    expect("", {}, [](auto& v) {
        v.boundsCheck(4), v.lengthCheck(5), v.strideCheck();
        return values(v.slice(99, 0, -7));
    });
}

TEST(Vec, ReportsNameTheirClass) {
    RecordedErrors errors;
    IntVec(2, 0)[2];
    SCharVec(2, 0)[2];
    SCharVec(1, 0).vecPick(IntVec(1, 1));
    IntVec(1, 0).vecPick(IntVec(1, 1)) = IntVec(1, 5);
    std::vector<unsigned short> codes;
    for (const auto& report : errors.take()) codes.push_back(report.classCode);
    EXPECT_EQ((std::vector<unsigned short>{0x9018, 0x9024, 0x9023, 0x9017}), codes);
}

TEST(VecDeathTest, DefaultHandlerEndsTheProcess) {
    EXPECT_TRUE(abortsWithReport(
        [] { ramp(5)[7] = 1.0; },
        "** [INDEX: DoubleVec]: Index (7) out of range [0->4].\n** Processing terminated.\n"));
}

TEST(Vec, WithoutMemoryEveryElementIsTheScratchCell) {
    RecordedErrors errors;
    const DoubleVec good = ramp(40);
    MA_failAfter(0);
    DoubleVec v(40, 1.0);
    const auto reports = errors.take();
    ASSERT_EQ(1u, reports.size());
    EXPECT_EQ((MathReport{0x3008, 2, 0x901A, "[NOMEM: RWBlock]: Out of memory"}), reports[0]);
    // Whatever is done with it stays within memory; the sanitizers watch.
    v += good;
    v = good;
    v[39] = v(20) + sum(v + good) + sum(cumsum(good)) + sum(toInt(v)) + sum(sin(good));
    DoubleVec(good).resize(50);
    v.vecPick(IntVec(3, 1)) = DoubleVec(3, 2.0);
    v.deepenShallowCopy();
    ++v;
    good.zeroIndex(0.5);
    MA_failAfter(-1);
    EXPECT_EQ(40u, v.length());
    EXPECT_EQ(0, v.stride());
    v.deepenShallowCopy();
    v = good;
    EXPECT_EQ(1, v == good) << "usable again";
}

TEST(Vec, BlockRecordsComeBackLastInFirstOut) {
    std::vector<RWBlock*> drain(5);  // whatever earlier tests have left in the list
    for (auto& block : drain) block = new RWBlock(0, 8);
    std::vector<RWBlock*> blocks(6);
    for (auto& block : blocks) block = new RWBlock(3, 8);
    const long arrays = MA_liveBlocks();
    for (RWBlock* block : blocks) block->removeReference();  // the sixth finds the list full
    EXPECT_EQ(arrays - 6, MA_liveBlocks());
    for (int i = 4; i >= 0; --i) {
        drain.push_back(new RWBlock(0, 8));
        EXPECT_EQ(blocks[static_cast<std::size_t>(i)], drain.back()) << i;
    }
    for (RWBlock* block : drain) delete block;
    // A request of 0 bytes is one of the smallest class.
    void* record = RWBlock::operator new(0);
    const auto address = reinterpret_cast<std::uintptr_t>(record);
    RWBlock::operator delete(record, 0);
    record = RWBlock::operator new(1);
    EXPECT_EQ(address, reinterpret_cast<std::uintptr_t>(record));
    RWBlock::operator delete(record, 1);
}

// Lengths around every class of small blocks; half of them go and come back while the others live.
TEST(Vec, SmallBlocksAreUsedAgainByOneAtATime) {
    const long before = MA_liveBlocks();
    {
        std::vector<DoubleVec> held;
        held.reserve(300);
        for (unsigned n = 0; n < 150; ++n) held.emplace_back(n, n);
        EXPECT_EQ(before + 149, MA_liveBlocks());
        for (int round = 0; round < 3; ++round) {
            for (unsigned n = 1; n < 150; n += 2) held[n].reference(DoubleVec());
            EXPECT_EQ(before + 74, MA_liveBlocks());
            for (unsigned n = 1; n < 150; n += 2) held[n].reference(DoubleVec(n, n));
            for (unsigned n = 0; n < 150; ++n) ASSERT_EQ(Doubles(n, n), values(held[n])) << n;
        }
    }
    EXPECT_EQ(before, MA_liveBlocks());
    MA_failAfter(0);
    RecordedErrors errors;
    EXPECT_EQ(0, DoubleVec(3).stride()) << "freed blocks are no way around";
    MA_failAfter(-1);
    EXPECT_EQ(1u, errors.take().size());
}

TEST(Vec, MixedTypesConvertUpwards) {
    const SCharVec chars(3, -2, 3);
    const IntVec ints = chars;
    DoubleVec doubles = ints;
    EXPECT_EQ((Ints{-2, 1, 4}), values(ints));
    EXPECT_EQ((Doubles{-4, 2, 8}), values(doubles + ints));
    EXPECT_EQ(1, doubles == ints);
    EXPECT_EQ(21.0, dot(doubles, ints));
    const double inf = std::numeric_limits<double>::infinity();
    const double kOdd[] = {2.9,           -2.9, 2147483647.5, 2147483648.0,
                           -2147483648.9, -inf, inf,          inf - inf};
    EXPECT_EQ((Ints{2, -2, INT_MAX, INT_MIN, INT_MIN, INT_MIN, INT_MIN, INT_MIN}),
              values(toInt(DoubleVec(kOdd, 8))));
    const int kWide[] = {300, -129, -1};
    EXPECT_EQ((std::vector<signed char>{44, 127, -1}), values(toChar(IntVec(kWide, 3))));
}

}  // namespace
