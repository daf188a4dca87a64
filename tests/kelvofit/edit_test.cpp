// What could break here: scripts that are accepted or refused wrongly, places of faults, edits that
// undo does not take back, a mark that is lost or kept wrongly, models changed by a script that
// fails.
#include <gtest/gtest.h>

#include <random>
#include <sstream>

#include "examples/kelvofit/editor.h"
#include "examples/kelvofit/net_edits.h"
#include "program.h"

namespace kelvo::test {
namespace {

using fit::applyEdits;
using fit::EditResult;
using fit::EditScript;
using fit::SplineSurface;
using fit::Vec3;

using Net = std::vector<std::vector<Vec3>>;  // rows

EditScript scriptOf(const std::string& text) {
    return EditScript(fit::TextFile("s.edit", text));
}

Net netOf(const SplineSurface& surface) {
    Net net(static_cast<std::size_t>(surface.u().size()));
    for (int i = 0; i < surface.u().size(); ++i)
        for (int j = 0; j < surface.v().size(); ++j)
            net[static_cast<std::size_t>(i)].push_back(surface.control(i, j));
    return net;
}

/// Two surfaces of 5 x 6 and 4 x 4 control points at random places.
std::vector<SplineSurface> randomSurfaces(unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> place(-1, 1);
    std::vector<SplineSurface> surfaces{SplineSurface(2, 3), SplineSurface(1, 1)};
    for (SplineSurface& surface : surfaces)
        for (int i = 0; i < surface.u().size(); ++i)
            for (int j = 0; j < surface.v().size(); ++j)
                surface.setControl(i, j, {place(random), place(random), place(random)});
    return surfaces;
}

void expectSame(const Net& expected, const SplineSurface& surface, double tolerance) {
    const Net found = netOf(surface);
    ASSERT_EQ(expected.size(), found.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
        for (std::size_t j = 0; j < expected[i].size(); ++j)
            EXPECT_LE(length(expected[i][j] - found[i][j]), tolerance) << i << ", " << j;
}

TEST(KelvofitEdit, FaultsAreNamedWithTheirPlaceAndChangeNothing) {
    const struct {
        const char *script, *says;
    } kRows[] = {
        {"wiggle 1 2", "s.edit:1:1: 'wiggle' is no edit; there are patch, move"},
        {"# c\n\n  move 1 2 by 1 2", "s.edit:3:18: expected the three numbers of a point"},
        {"move 1", "s.edit:1:7: expected the column"},
        {"move 1 2", "s.edit:1:9: expected 'by' or 'to'"},
        {"move 1 2 at 1 2 3", "s.edit:1:10: expected 'by' or 'to', not 'at'"},
        {"move 1 2 by 1 2 x3", "s.edit:1:17: 'x3' is not a number"},
        {"move 1 2 by 1 nan 3", "s.edit:1:15: 'nan' is not a finite number"},
        {"move 1 2 by 1 2 3 4", "s.edit:1:19: '4' is more than expected"},
        {"move 1 2 to 1 2 1e101", "s.edit:1:17: '1e101' is beyond 1e100"},
        {"move -1 2 by 1 2 3", "s.edit:1:6: '-1' is not a whole number"},
        {"move 1 2.5 by 1 2 3", "s.edit:1:8: '2.5' is not a whole number"},
        {"move 1 99999999999999999999 by 1 2 3", "s.edit:1:8: the number must be from 0 to"},
        {"list\nmove 5 2 by 1 2 3", "s.edit:2:6: row 5 does not exist, there are 5"},
        {"move 4 6 by 1 2 3", "s.edit:1:8: column 6 does not exist, there are 6"},
        {"patch 1\nmove 4 0 by 1 2 3", "s.edit:2:6: row 4 does not exist, there are 4"},
        {"patch 2", "s.edit:1:7: patch 2 does not exist, there are 2"},
        {"raise edge 1 by 2", "s.edit:1:7: expected 'row' or 'column', not 'edge'"},
        {"raise row 1 to 2", "s.edit:1:13: expected 'by', not 'to'"},
        {"raise column 6 by 2", "s.edit:1:14: column 6 does not exist"},
        {"smooth 1..5 2", "s.edit:1:11: row 5 does not exist, there are 5"},
        {"smooth 3..1 2", "s.edit:1:8: the range runs backwards"},
        {"smooth 1.. 2", "s.edit:1:11: '' is not a whole number"},
        {"smooth 1 2 times 0", "s.edit:1:18: the count must be from 1 to 1000"},
        {"undo", "s.edit:1:1: nothing is left to undo"},
        {"move 0 0 by 1 1 1\nundo 2", "s.edit:2:1: nothing is left to undo"},
        {"move 0 0 by 1 1 1\nundo\nmove 0 0 by 2 2 2\nredo", "s.edit:4:1: nothing is left to redo"},
        {"undo to 3", "s.edit:1:9: expected 'mark', not '3'"},
        {"move 0 0 by 1 1 1\nmark\nundo\nraise row 1 by 1\nundo to mark",
         "s.edit:5:1: nothing is left to undo, and the mark is not reached"},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.script);
        std::vector<SplineSurface> surfaces = randomSurfaces(1);
        const Net nets[] = {netOf(surfaces[0]), netOf(surfaces[1])};
        try {
            applyEdits(scriptOf(row.script), {0, 0, 1}, surfaces);
            ADD_FAILURE() << "accepted";
        } catch (const fit::Failure& failure) {
            EXPECT_EQ(0U, std::string(failure.what()).find(row.says)) << failure.what();
        }
        for (std::size_t k = 0; k < 2; ++k) expectSame(nets[k], surfaces[k], 0);
    }
}

TEST(KelvofitEdit, SmoothingPullsHalfWayToTheNeighboursAndKeepsCorners) {
    // Heights over a regular grid: places along the grid stay where they are.
    const double kBefore[4][4] = {{8, 0, 8, 0}, {0, 8, 0, 0}, {0, 0, 0, 0}, {0, 0, 0, 0}};
    const double kAfter[4][4] = {{8, 4, 4, 0}, {2, 4, 2, 0}, {0, 1, 0, 0}, {0, 0, 0, 0}};
    std::vector<SplineSurface> surfaces{SplineSurface(1, 1)};
    Net expected(4);
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) {
            surfaces[0].setControl(i, j, {1.0 * i, 1.0 * j, kBefore[i][j]});
            expected[static_cast<std::size_t>(i)].push_back({1.0 * i, 1.0 * j, kAfter[i][j]});
        }
    // Row 0, column 3 is a corner, row 1, column 0 lies on an edge.
    applyEdits(scriptOf("smooth 0..3 0..3"), {0, 0, 1}, surfaces);
    expectSame(expected, surfaces[0], 1e-15);
}

/// What edits do, without history: the model of the test below.
struct Reference {
    std::vector<Net> states;  // every state reached, the ones undone too
    std::size_t now = 0, mark = 0;
    bool markLost = false;

    void add(Net net) {
        if (mark > now) markLost = true;
        states.resize(now + 1);
        states.push_back(std::move(net));
        ++now;
    }
};

TEST(KelvofitEdit, RandomHistoriesEndWhereAPlainModelDoes) {
    for (unsigned seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        const auto below = [&](int limit) { return static_cast<int>(random() % limit); };
        std::vector<SplineSurface> surfaces = randomSurfaces(seed);
        const Net other = netOf(surfaces[1]);
        Reference reference{{netOf(surfaces[0])}};
        const Vec3 up = fit::unit({1, 2, 3});
        std::ostringstream script;
        for (int line = 0; line < 40; ++line) {
            Net net = reference.states[reference.now];
            const int row = below(5), column = below(6);
            Vec3& p = net[static_cast<std::size_t>(row)][static_cast<std::size_t>(column)];
            switch (below(7)) {
                case 0:
                    script << "move " << row << ' ' << column << " by 0.5 -2 " << line << "\n";
                    p += {0.5, -2, 1.0 * line};
                    reference.add(net);
                    break;
                case 1:
                    script << "move " << row << ' ' << column << " to 1 2 " << line << "\n";
                    p = {1, 2, 1.0 * line};
                    reference.add(net);
                    break;
                case 2:
                    script << "raise row " << row << " by -0.25\n";
                    for (Vec3& q : net[static_cast<std::size_t>(row)]) q += -0.25 * up;
                    reference.add(net);
                    break;
                case 3:
                    script << "raise column " << column << " by 3 # high\n";
                    for (auto& points : net) points[static_cast<std::size_t>(column)] += 3 * up;
                    reference.add(net);
                    break;
                case 4: {
                    const int steps = below(3) + 1;
                    if (reference.now < static_cast<std::size_t>(steps)) break;
                    script << "undo " << steps << "\n";
                    reference.now -= static_cast<std::size_t>(steps);
                    break;
                }
                case 5:
                    if (reference.now + 1 == reference.states.size()) break;
                    script << "redo\n";
                    ++reference.now;
                    break;
                default:
                    if (below(2) == 0) {
                        script << "mark\n";
                        reference.mark = reference.now;
                        reference.markLost = false;
                    } else if (!reference.markLost && reference.mark != reference.now) {
                        script << (reference.mark < reference.now ? "undo" : "redo")
                               << " to mark\n";
                        reference.now = reference.mark;
                    }
            }
        }
        const EditResult result = applyEdits(scriptOf(script.str() + "list"), up, surfaces);
        expectSame(reference.states[reference.now], surfaces[0], 1e-12);
        expectSame(other, surfaces[1], 0);
        ASSERT_EQ(reference.states.size() - 1, result.history.size()) << script.str();
        for (std::size_t k = 0; k < result.history.size(); ++k)
            EXPECT_EQ(k < reference.now, result.history[k].done);
        EXPECT_EQ(!reference.markLost && reference.mark == reference.now, result.atMark);
        EXPECT_EQ(reference.markLost, result.listing.find("-- mark --") == std::string::npos);
        EXPECT_EQ(nullptr, zoUndo::getInstalledManager());
    }
}

TEST(KelvofitEdit, SnapshotsComeBackToTheBit) {
    std::vector<SplineSurface> surfaces = randomSurfaces(3), smoothed = randomSurfaces(3);
    const Net before = netOf(surfaces[0]);
    applyEdits(scriptOf("smooth 0..4 1..3 times 7\nmove 2 2 by 1 1 1\nundo 2"), {0, 0, 1},
               surfaces);
    expectSame(before, surfaces[0], 0);
    applyEdits(scriptOf("smooth 0..4 1..3 times 7"), {0, 0, 1}, smoothed);
    applyEdits(scriptOf("smooth 0..4 1..3 times 7\nundo\nredo"), {0, 0, 1}, surfaces);
    expectSame(netOf(smoothed[0]), surfaces[0], 0);
}

TEST(KelvofitEdit, TheProgramWritesTheEditedNetAndItsHistory) {
    const Bench bench;
    bench.write("s.edit",
                "move 3 4 by 0 0 1\nmark\nraise row 2 by 0.5\nundo\nlist\n"
                "smooth 0..2 0..2 times 2\nundo to mark\n");
    bench.fit("plain", {kHills});
    const Outcome outcome = bench.run({"-q", "-o", "out", "--edit", "s.edit", kHills});
    ASSERT_EQ(0, outcome.code) << outcome.err;
    EXPECT_EQ(
        "history at line 5:\n  1. Move Control Point (line 1)\n  -- mark --\n"
        "  2. Raise Row (line 3, undone)\n",
        outcome.out);
    const Json edits = bench.report("out")["edits"];
    ASSERT_EQ(2U, edits["history"].items.size());
    EXPECT_EQ("Smooth Region", edits["history"].items[1]["name"].string);
    EXPECT_EQ(6, edits["history"].items[1]["line"].number);
    EXPECT_EQ(Json::kFalse, edits["history"].items[1]["done"].kind);
    EXPECT_EQ(Json::kTrue, edits["at_mark"].kind);
    EXPECT_NEAR(1, edits["largest_move"].number, 1e-12);
    // One control point has moved, and the deviations are those of the edited surface.
    std::istringstream plain(bench.read("plain/net.obj")), edited(bench.read("out/net.obj"));
    int differ = 0;
    for (std::string a, b; std::getline(plain, a) && std::getline(edited, b);) differ += a != b;
    EXPECT_EQ(1, differ);
    EXPECT_GT(bench.report("out")["deviation"]["at_parameter"]["largest"].number, 0.1);
}

TEST(KelvofitEdit, AScriptThatFailsWritesNothing) {
    const Bench bench;
    bench.write("bad.edit", "move 3 4 by 0 0 1\nmove 3 99 by 0 0 1\n");
    for (const char* script : {"bad.edit", "missing.edit", "."})
        bench.expectRefused({"-q", "-o", "out", "--edit", script, kHills},
                            std::string("kelvofit: ") + script);
}

}  // namespace
}  // namespace kelvo::test
