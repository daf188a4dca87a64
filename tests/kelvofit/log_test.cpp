// What could break here: lists that lose, double or leak items when copied and moved, a log that
// misses steps, hides a failure, or overwrites what the program reads.
#include <gtest/gtest.h>

#include "examples/kelvofit/fit_result.h"
#include "program.h"

namespace kelvo::test {
namespace {

using fit::ItemList;
using fit::PatchResult;

TEST(KelvofitLists, OwnWhatTheyHoldThroughCopiesAndMoves) {
    const auto counted = std::make_shared<int>();  // its use count tells the copies of an item
    using Item = std::pair<int, std::shared_ptr<int>>;
    const auto valuesOf = [](const ItemList<Item>& list) {
        std::vector<int> values;
        for (const Item& item : list) values.push_back(item.first);
        return values;
    };
    {
        ItemList<Item> list;
        EXPECT_TRUE(list.empty());
        std::vector<int> expected;
        for (int k = 0; k < 500; ++k) {
            list.add({k * k, counted}).first += 1;
            expected.push_back(k * k + 1);
        }
        ItemList<Item> copy(list);
        list.add({-1, counted});
        EXPECT_EQ(expected, valuesOf(copy));
        EXPECT_EQ(501U, list.size());
        ItemList<Item> moved(std::move(copy));
        copy = ItemList<Item>();
        EXPECT_TRUE(copy.empty());
        list = moved;
        EXPECT_EQ(expected, valuesOf(list));
        EXPECT_EQ(expected, valuesOf(moved));
        EXPECT_EQ(1 + 1000, counted.use_count());
    }
    EXPECT_EQ(1, counted.use_count());
}

TEST(KelvofitLists, PatchesComeWorstFirst) {
    ItemList<PatchResult> patches;
    EXPECT_TRUE(patches.sorted(PatchResult::worseFirst).empty());
    const double kErrors[] = {0.5, 2, 0, 2, 7, 0.5};
    for (int k = 0; k < 6; ++k) patches.add({k, 16, 0, kErrors[k]});
    std::vector<int> numbers;
    for (const PatchResult* patch : patches.sorted(PatchResult::worseFirst))
        numbers.push_back(patch->number);
    EXPECT_EQ((std::vector<int>{4, 1, 3, 0, 5, 2}), numbers);
    EXPECT_EQ(0, patches.begin()->number);
}

std::size_t count(const std::string& text, const std::string& what) {
    std::size_t found = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        ++found;
    return found;
}

TEST(KelvofitLog, TellsEveryStepAndHowTheRunEnded) {
    const Bench bench;
    bench.write("s.edit", "raise row 1 by 1\nundo\n");
    Outcome outcome = bench.run({"-q", "--debug", "log", "--edit", "s.edit", "-o", "out", kHills});
    ASSERT_EQ(0, outcome.code) << outcome.err;
    EXPECT_EQ("", outcome.err);
    std::string log = bench.read("log");
    EXPECT_EQ(bench.report("out")["fit"]["steps"].items.size(), count(log, "\n   fit "));
    EXPECT_EQ(1U, count(log, "\n   line 1: Raise Row, undone\n"));
    EXPECT_EQ(1U, count(log, "\nresults in out, "));
    // Started anew, and to stderr on request.
    outcome = bench.run({"-q", "--debug", "log", "-o", "out", kTeapot});
    log = bench.read("log");
    EXPECT_EQ(32U, count(log, "\n   patch "));
    EXPECT_EQ(0U, count(log, "Raise Row"));
    outcome = bench.run({"-q", "--debug", "-", "-o", "out", kTeapot});
    EXPECT_EQ(32U, count(outcome.err, "\n   patch "));

    bench.write("bad.xyz", "1 2 3\n");
    outcome = bench.run({"-q", "--debug", "log", "-o", "new", "bad.xyz"});
    EXPECT_EQ(2, outcome.code);
    EXPECT_EQ(1U, count(bench.read("log"), "\nfailed: bad.xyz: holds 1 points"));
    EXPECT_FALSE(bench.exists("new"));
}

TEST(KelvofitLog, AFullDiskIsNamed) {
    const Bench bench;
    const Outcome outcome = bench.run({"-q", "--debug", "/dev/full", "-o", "out", kHills});
    EXPECT_EQ(0, outcome.code);
    EXPECT_EQ("kelvofit: --debug: /dev/full: could not be written in whole\n", outcome.err);
}

TEST(KelvofitLog, GoesNowhereItShouldNot) {
    const Bench bench;
    bench.write("a.patches", "mine");
    bench.write("s.edit", "mine too");
    const struct {
        const char *file, *says;
    } kRows[] = {
        {"./a.patches", "kelvofit: --debug: './a.patches' would overwrite 'a.patches'\n"},
        {"s.edit", "kelvofit: --debug: 's.edit' would overwrite 's.edit'\n"},
        {"no/such/log", "kelvofit: --debug: 'no/such/log' cannot be written\n"},
        {".", "kelvofit: --debug: '.' cannot be written\n"},
        {"./out/net.obj", "kelvofit: './out/net.obj' would be replaced by a result\n"},
        {"./out/fit.0002.svg", "kelvofit: './out/fit.0002.svg' would be replaced by a result\n"},
        // Would be taken for a frame of an earlier run.
        {"./out/fit.0003.svg", "kelvofit: './out/fit.0003.svg' would be replaced by a result\n"},
    };
    for (const auto& row : kRows)
        bench.expectRefused(
            {"--debug", row.file, "--edit", "s.edit", "--turntable", "2", "-o", "out", "a.patches"},
            row.says);
}

}  // namespace
}  // namespace kelvo::test
