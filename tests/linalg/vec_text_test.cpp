// What could break: brackets and line breaks of the printed form, the end of the read one, reuse of
// the vector that is read into, small integers treated as characters.
#include <gtest/gtest.h>

#include <iomanip>

#include "tests/linalg/mat_support.h"

namespace {

using kelvo::test::printed;

TEST(VecText, Output) {
    const struct {
        unsigned length;
        int perLine;
        const char* text;
    } kRows[] = {
        {0, 5, "[  ]"},
        {3, 5, "[ 1 2 3 ]"},
        {5, 5, "[ 1 2 3 4 5 ]"},
        {6, 5, "[\n1 2 3 4 5\n6\n]"},
        {5, 2, "[\n1 2\n3 4\n5\n]"},
        {2, 1, "[\n1\n2\n]"},
        {1, 1, "[ 1 ]"},
        {6, 0, "[\n1 2 3 4 5\n6\n]"},  // reset to 5
        {6, -3, "[\n1 2 3 4 5\n6\n]"},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(testing::Message() << row.length << " elements, " << row.perLine << " a line");
        DoubleVec::setFormatting(row.perLine);
        EXPECT_EQ(row.text, printed(DoubleVec(row.length, 1.0, 1.0)));
        EXPECT_EQ(row.perLine < 1 ? 5 : row.perLine, DoubleVec::setFormatting(5));
    }
}

TEST(VecText, EachClassHasItsOwnLineLength) {
    EXPECT_EQ(5, IntVec::setFormatting(2));
    EXPECT_EQ(5, SCharVec::setFormatting(1));
    EXPECT_EQ("[ 1 1 1 ]", printed(DoubleVec(3, 1.0)));
    EXPECT_EQ("[\n1 1\n1\n]", printed(IntVec(3, 1)));
    EXPECT_EQ("[\n65\n-1\n]", printed(SCharVec(2, 65, -66)));
    EXPECT_EQ(2, IntVec::setFormatting(5));
    EXPECT_EQ(1, SCharVec::setFormatting(5));
}

TEST(VecText, StreamFormattingIsTheCallers) {
    std::ostringstream out;
    out << std::fixed << std::setprecision(2) << std::setw(4) << DoubleVec(2, 1.0, 0.5);
    EXPECT_EQ("  [ 1.00 1.50 ]", out.str()) << "the width goes to the first thing written";
    std::ostringstream strided;
    DoubleVec(5, 1.0, 1.0).slice(4, 3, -2).printOn(strided);
    EXPECT_EQ("[ 5 3 1 ]", strided.str());
}

TEST(VecText, Input) {
    const struct {
        const char* label;
        const char* text;
        const char* read;
        bool good;
        const char* rest;
    } kRows[] = {
        {"brackets", " \n[1 2 3] x", "[ 1 2 3 ]", true, " x"},
        {"printed form", "[\n1 2\n3 4\n]", "[ 1 2 3 4 ]", true, ""},
        {"blanks only", "[ \t\n ]", "[  ]", true, ""},
        {"empty", "[]7", "[  ]", true, "7"},
        {"bare", "1 2 3", "[ 1 2 3 ]", false, ""},
        {"bare up to a letter", "-1 +2 x", "[ -1 2 ]", false, "x"},
        {"bare up to a bracket", "1 ]", "[ 1 ]", false, "]"},
        {"letter inside", "[1 2 x 3]", "[ 1 2 ]", false, "x 3]"},
        {"not closed", "[1 2", "[ 1 2 ]", false, ""},
        {"opened only", "[ ", "[  ]", false, ""},
        {"nothing", "", "[  ]", false, ""},
        {"word", "abc", "[  ]", false, "abc"},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.label);
        for (const unsigned before : {0u, 2u, 200u}) {
            std::istringstream in(row.text);
            IntVec v(before, 9);
            in >> v;
            EXPECT_EQ(row.read, printed(v)) << "into " << before;
            EXPECT_EQ(row.good, in.good());
            EXPECT_EQ(!row.good && *row.rest == 0, in.eof());
            in.clear();
            std::string rest;
            std::getline(in, rest, '\0');
            EXPECT_EQ(row.rest, rest);
        }
    }
}

TEST(VecText, SmallIntegersAreNumbers) {
    std::istringstream in("[65 -128 127] [1 128 2]");
    SCharVec v;
    in >> v;
    EXPECT_EQ("[ 65 -128 127 ]", printed(v));
    in >> v;
    EXPECT_EQ("[ 1 ]", printed(v)) << "does not fit";
    EXPECT_TRUE(in.fail());
}

TEST(VecText, LongInputAndOtherViews) {
    std::ostringstream out;
    out << std::setprecision(17) << DoubleVec(1000, 0.1, 0.1);
    DoubleVec v(3, 7.0);
    const DoubleVec other = v;
    std::istringstream in(out.str());
    v.scanFrom(in);
    EXPECT_TRUE(in.good());
    EXPECT_EQ(1, v == DoubleVec(1000, 0.1, 0.1));
    EXPECT_EQ("[ 7 7 7 ]", printed(other));
    EXPECT_NE(other.data(), v.data());
    // The length fits: the elements are those of all views.
    DoubleVec same(2, 7.0), view = same;
    std::istringstream two("[1 2]");
    two >> same;
    EXPECT_EQ(same.data(), view.data());
    EXPECT_EQ("[ 1 2 ]", printed(view));
}

TEST(VecText, WhatWasReadCountsWhenTheStreamThrows) {
    for (const char* text : {"[1 2 x", "1 2 x"}) {
        std::istringstream in(text);
        in.exceptions(std::ios::failbit);
        IntVec v(5, 7);
        EXPECT_THROW(in >> v, std::ios::failure) << text;
        EXPECT_EQ("[ 1 2 ]", printed(v)) << text;
    }
}

}  // namespace
