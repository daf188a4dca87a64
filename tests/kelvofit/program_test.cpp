// What could break here: bad input that is accepted, or refused at the wrong place or after files
// were written; formats that read differently; failures and interrupts that leave a mess.
#include <signal.h>

#include <gtest/gtest.h>

#include "program.h"

namespace kelvo::test {
namespace {

/// 25 points of a bowl, one text for each.
Names bowl() {
    Names points;
    for (int i = 0; i < 5; ++i)
        for (int j = 0; j < 5; ++j)
            points.push_back(std::to_string(i) + " " + std::to_string(j) + " " +
                             std::to_string(0.1 * (i - 2) * (i - 2) + 0.05 * j));
    return points;
}

std::string lines(const std::string& before, const Names& points, const std::string& after,
                  const std::string& end = "\n") {
    std::string text;
    for (const std::string& p : points) text += before + p + after + end;
    return text;
}

const std::string kGood = lines("", bowl(), "");
const std::string kPlyVertices = "ply\nformat ascii 1.0\nelement vertex 25\n";

TEST(KelvofitInput, ScratchMemoryChangesNothing) {
    const Bench bench;
    bench.write("a.xyz", waves(3000, 0.1));
    EXPECT_LT(0,
              bench.fit("heap", {"-t", "1e-9", "-s", "17", "a.xyz"})["fit"]["weak_columns"].number);
    bench.fit("scratch", {"-t", "1e-9", "-s", "17", "a.xyz", "--scratch"});
    EXPECT_NE("", bench.read("heap/net.obj"));
    EXPECT_EQ(bench.read("heap/net.obj"), bench.read("scratch/net.obj"));
}

TEST(KelvofitInput, FaultsAreNamedWithTheirPlaceAndNothingIsWritten) {
    const std::string patch = "p 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 ";
    const struct {
        const char *name, *content, *says;
    } kRows[] = {
        {"a.xyz", "1 2 3\n4 5 x6\n", "a.xyz:2:5: 'x6' is not a number"},
        {"a.xyz", "1 2 3\n\n# c\n\t4  5e 6\n", "a.xyz:4:5: '5e' is not a number"},
        {"a.xyz", "1 2 3\r\n1 nan 3\r\n", "a.xyz:2:3: 'nan' is not a finite number"},
        {"a.xyz", "1 2 -inf\n", "a.xyz:1:5: '-inf' is not a finite number"},
        {"a.xyz", "1 2 1e999\n", "a.xyz:1:5: '1e999' is not a finite number"},
        {"a.xyz", "1 2 3 4\n", "a.xyz:1:7: more values than the three numbers of a point"},
        {"a.xyz", "1 2 3\n 1 2 # 3\n", "a.xyz:2:2: expected the three numbers of a point"},
        {"a.xyz", "1 2 0x3\n", "a.xyz:1:5: '0x3' is not a number"},
        {"a.xyz", "", "a.xyz: holds 0 points, at least 16 are needed"},
        {"a.xyz", "1 2 3\n4 5 6\n", "a.xyz: holds 2 points, at least 16 are needed"},
        {"a.obj", "vn 1 x 2\nv 1 2 three\n", "a.obj:2:7: 'three' is not a number"},
        {"a.obj", "v 1 2\n", "a.obj:1:1: expected v x y z"},
        {"a.obj", "v 1 2 3 1 0 oops\n", "a.obj:1:13: 'oops' is not a number"},
        {"a.patches", "v 1 2 3\nq\n", "a.patches:2:1: 'q' is neither v (point) nor p (patch)"},
        {"a.patches", "v 1 2 3\n", "a.patches: holds no patches"},
        {"a.patches", "v 1 2 3\np 1 2\n", "a.patches:2:1: expected p and the numbers of 16"},
        {"a.patches", "v 1 2 3\np 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 1\n",
         "a.patches:2:33: control point 1 does not exist, there are 1"},
        {"a.patches", "v 1 2 3\np 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 -1\n",
         "a.patches:2:33: '-1' is not a whole number"},
        {"a.patches", "v 1 2 3\np 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0\n",
         "a.patches: all points coincide"},
        {"a.ply", "plyx\n", "a.ply: does not start with a line \"ply\""},
        {"a.ply", "ply\nformat binary_little_endian 1.0\n", "a.ply:2:8: the format is"},
        {"a.ply", "ply\nformat ascii 1.0\nproperty float x\n", "a.ply:3:1: property before"},
        {"a.ply", "ply\nformat ascii 1.0\nelement vertex 1\nproperty real x\n",
         "a.ply:4:10: 'real' is no type"},
        {"a.ply", "ply\nformat ascii 1.0\nelement vertex -1\n", "a.ply:3:16: '-1' is not a count"},
        {"a.ply", "ply\nformat ascii 1.0\nelement vertex 1\nproperty float x\nend_header\n1\n",
         "a.ply: its vertices have no x, y and z"},
        {"a.ply", "ply\nformat ascii 1.0\nelement face 0\nend_header\n",
         "a.ply: has no elements \"vertex\""},
        {"a.ply",
         "ply\nformat ascii 1.0\nelement vertex 2\nproperty float x\nproperty float y\n"
         "property float z\nend_header\n1 2 3\n",
         "a.ply: ends after 1 of 2 elements 'vertex'"},
        {"a.ply",
         "ply\nformat ascii 1.0\nelement vertex 1\nproperty float x\nproperty float y\n"
         "property float z\nend_header\n1 2\n",
         "a.ply:8:1: the vertex has only 2 of its 3 values"},
        {"a.ply",
         "ply\nformat ascii 1.0\nelement vertex 1\nproperty float x\nproperty float y\n"
         "property float z\nelement face 1\nproperty list int int i\nend_header\n1 2 3\n1 0\n\n4 5 "
         "6\n",
         "a.ply:13:1: the header announces fewer lines than there are"},
        {"a.dat", "1 2 3\n", "a.dat: unknown kind of file"},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(std::string(row.name) + ": " + row.content);
        const Bench bench;
        bench.write(row.name, row.content);
        bench.expectRefused({"--quiet", "-o", "out/deep", row.name},
                            std::string("kelvofit: ") + row.says);
    }
}

TEST(KelvofitInput, PointsWithoutAPlaneAreRefused) {
    const auto cloud = [](auto point) {
        std::string text;
        for (int i = 0; i < 30; ++i) text += point(i) + "\n";
        return text;
    };
    const auto s = [](double x) { return std::to_string(x); };
    const struct {
        std::string content;
        Names options;
        const char* says;
    } kRows[] = {
        {cloud([&](int) { return std::string("1 2 3"); }), {}, "all points coincide"},
        {cloud([&](int i) { return s(i) + " " + s(0.3 * i) + " " + s(7 - 2 * i); }),
         {},
         "all points lie on one line"},
        {cloud([&](int i) { return s(i) + " 0 " + s(i * i); }),
         {"--axis", "z"},
         "seen along the z axis, all points lie on one line"},
        {cloud([&](int i) { return s(i) + "e200 " + s(i * i) + " 0"; }),
         {},
         "the points lie too far apart to compute with"},
    };
    for (const auto& row : kRows) {
        const Bench bench;
        bench.write("a.xyz", row.content);
        Names arguments = row.options;
        arguments.push_back("a.xyz");
        bench.expectRefused(arguments, std::string("kelvofit: a.xyz: ") + row.says);
    }
}

TEST(KelvofitInput, AllFormatsReadTheSamePoints) {
    Names shuffled, listed;
    for (const std::string& p : bowl()) {
        const std::size_t first = p.find(' '), second = p.find(' ', first + 1);
        const std::string x = p.substr(0, first), y = p.substr(first + 1, second - first - 1);
        shuffled.push_back("9 " + p.substr(second + 1) + " " + y + " 255 " + x);
        listed.push_back(p + " 2 7 8");
    }
    const struct {
        std::string name, content;
    } kRows[] = {
        {"a.xyz", kGood},
        {"a.XYZ", "\xEF\xBB\xBF# bowl\n\n" + lines("  +", bowl(), "\t# p", "\r\n")},
        {"a.obj", "mtllib x\nvt 0 0\n" + lines("v ", bowl(), "") + "vn 0 0 1\nf 1 2 3\n"},
        {"b.obj", lines("v ", bowl(), " 1.0") + "g x y\n"},
        {"c.obj", lines("v ", bowl(), " 0.5 0.5 0.5")},
        {"a.ply", kPlyVertices +
                      "property float x\nproperty float y\nproperty double z\n"
                      "end_header\n" +
                      kGood},
        {"b.ply",
         "ply\r\ncomment x y z\r\nformat ascii 1.0\r\nobj_info q\r\nelement extra 2\r\n"
         "property list uchar int n\r\nelement vertex 25\r\nproperty float q\r\n"
         "property float64 z\r\nproperty float y\r\nproperty uchar red\r\n"
         "property float32 x\r\nelement face 1\r\nproperty list uchar int i\r\n"
         "end_header\r\n3 1 2 3\r\n0\r\n" +
             lines("", shuffled, "", "\r\n") + "3 0 1 2\r\n"},
        {"c.ply", kPlyVertices +
                      "property float x\nproperty float y\nproperty float z\n"
                      "property list int int n\nend_header\n" +
                      lines("", listed, "")},
    };
    const Bench bench;
    Json reference;
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.name);
        bench.write(row.name, row.content);
        const Json report = bench.fit("out", {row.name});
        if (reference.members.empty()) reference = report;
        EXPECT_EQ(25, report["input"]["points"].number);
        for (const char* box : {"box_low", "box_high"})
            EXPECT_TRUE(reference["input"][box] == report["input"][box]);
        EXPECT_TRUE(reference["frame"]["singular_values"] == report["frame"]["singular_values"]);
    }
}

TEST(KelvofitCommandLine, SenselessOnesAreRefused) {
    const struct {
        Names arguments;
        const char* says;
    } kRows[] = {
        {{}, "no input given"},
        {{""}, "no input given"},
        {{"-o", "", "a.xyz"}, "--out: no directory given"},
        {{"a.xyz", "b.xyz"}, "more than one input given: 'b.xyz'"},
        {{"--frobnicate", "a.xyz"}, "unknown option --frobnicate"},
        {{"-z", "a.xyz"}, "unknown option -z"},
        {{"a.xyz", "--out"}, "--out needs a value"},
        {{"--axis", "w", "a.xyz"}, "--axis: 'w' is not x, y or z"},
        {{"--tolerance", "0", "a.xyz"}, "--tolerance: '0' is not a number above 0"},
        {{"--tolerance", "1mm", "a.xyz"}, "--tolerance: '1mm' is not a number above 0"},
        {{"--noise", "-1", "a.xyz"}, "--noise: '-1' is not a number"},
        {{"--noise", "nan", "a.xyz"}, "--noise: 'nan' is not a number"},
        {{"--max-spans", "0", "a.xyz"}, "--max-spans: '0' is not a whole number from 1 to 100"},
        {{"--max-spans", "2.5", "a.xyz"}, "--max-spans: '2.5' is not a whole number"},
        {{"--seed", "-3", "a.xyz"}, "--seed: '-3' is not a whole number"},
        {{"--samples", "3", "a.patches"}, "--samples: '3' is not a whole number from 4 to 100"},
        {{"--samples", "9", "a.xyz"}, "--samples is of use with .patches only"},
        {{"--axis", "x", "a.patches"}, "--axis is of no use with .patches"},
        {{"--method", "lu", "a.xyz"}, "--method: 'lu' is not qr, cholesky or auto"},
        {{"--method", "qr", "a.patches"}, "--method is of no use with .patches"},
        {{"--scratch", "a.patches"}, "--scratch is of no use with .patches"},
        {{"--cache-dir", "d", "a.xyz"}, "--cache-dir is of no use with --no-cache"},
        {{"--cache-dir", "", "a.xyz"}, "--cache-dir: no directory given"},
        {{"--up", "x", "a.xyz"}, "--up: 'x' is not y or z"},
        {{"--scale", "0", "a.xyz"}, "--scale: '0' is not a number from 0.0001 to 10000"},
        {{"--scale", "-1", "a.xyz"}, "--scale: '-1' is not a number from 0.0001 to 10000"},
        {{"--rotate", "1", "2", "a.xyz"}, "--rotate: 'a.xyz' is not a number from -360 to 360"},
        {{"--rotate=1", "2", "361", "a.xyz"}, "--rotate: '361' is not a number from -360"},
        {{"--rotate", "0", "361", "0", "a.xyz"}, "--rotate: '361' is not a number from -360"},
        {{"a.xyz", "--move", "1", "2"}, "--move needs three values"},
        {{"a.xyz", "--pivot"}, "--pivot needs a value"},
        {{"--pivot", "1", "nan", "2", "a.xyz"}, "--pivot: 'nan' is not a number"},
        {{"--turntable", "1001", "a.xyz"}, "'1001' is not a whole number from 1 to 1000"},
        {{"missing.xyz"}, "missing.xyz: cannot be opened: No such file or directory"},
    };
    const Bench bench;
    bench.write("a.xyz", kGood);
    for (const auto& row : kRows) bench.expectRefused(row.arguments, row.says);
    EXPECT_EQ(0U, bench.run({"--version"}).out.find("kelvofit "));
    const Outcome help = bench.run({"--help"});
    EXPECT_EQ(0, help.code);
    for (const char* option :
         {"--out",     "--tolerance", "--max-spans", "--axis",  "--noise",   "--seed",
          "--samples", "--unit",      "--rotate",    "--scale", "--pivot",   "--move",
          "--up",      "--turntable", "--edit",      "--debug", "--project", "--name",
          "--method",  "--cache-dir", "--no-cache",  "--quiet", "--version"})
        EXPECT_NE(std::string::npos, help.out.find(option)) << option;
}

TEST(KelvofitOutput, PlacesThatCannotBeWrittenAreRefused) {
    const Bench bench;
    bench.write("a.xyz", kGood);
    bench.write("file", "mine");
    for (const char* out : {"file", "file/below", "/proc/kelvofit-results", "/dev/null"})
        bench.expectRefused({"-q", "-o", out, "a.xyz"}, std::string("kelvofit: ") + out);
}

TEST(KelvofitOutput, AFullDiskLeavesOldResultsAsTheyWere) {
    const Bench bench;
    bench.write("a.xyz", kGood);
    bench.fit("out", {"a.xyz"});
    const Names files = bench.list("out");
    EXPECT_EQ((Names{"fit.svg", "net.obj", "report.json", "surface.obj"}), files);
    // Room for the mesh, not for the picture.
    const Conditions tight{.largestFile = 300000};
    ASSERT_LT(bench.read("out/surface.obj").size(), 300000U);
    ASSERT_GT(bench.read("out/fit.svg").size(), 300000U);
    for (const char* dir : {"new/dir", "out"})
        bench.expectRefused({"-q", "--noise", "0.1", "-o", dir, "a.xyz"},
                            "cannot be written: File too large", tight);
}

TEST(KelvofitOutput, ARunThatIsEndedLeavesNothing) {
    for (const int signal : {SIGTERM, SIGHUP, SIGPIPE, SIGINT}) {
        SCOPED_TRACE(signal);
        const Bench bench;
        const Names arguments = {"-q", "--turntable", "400", "-o", "new/dir", kTeapot};
        EXPECT_EQ(-1, bench.run(arguments, {.endWhileWriting = signal}).code);
        EXPECT_EQ(Names{}, bench.list());
    }
}

TEST(KelvofitOutput, WhatAKilledRunHasLeftIsNotInTheWay) {
    const Bench bench;
    bench.write("a.xyz", kGood);
    bench.fit("out", {"a.xyz"});
    EXPECT_EQ(0, bench.run({"-q", "-o", "out", "a.xyz"}, {.leftover = "out/net.obj.tmp"}).code);
    EXPECT_EQ(5U, bench.list("out").size());
}

TEST(KelvofitOutput, ResultsGoBesideOtherFilesAndIntoNewDirectories) {
    const Bench bench;
    bench.write("a.xyz", kGood);
    ASSERT_EQ(0, bench.run({"-q", "a.xyz"}).code);
    bench.write("a-fit/notes.txt", "mine");
    ASSERT_EQ(0, bench.run({"-q", "a.xyz"}).code);
    EXPECT_EQ("mine", bench.read("a-fit/notes.txt"));
    EXPECT_EQ(5U, bench.list("a-fit").size());
    bench.fit("x/y/z/", {"a.xyz"});
    EXPECT_EQ(4U, bench.list("x/y/z").size());
}

TEST(KelvofitProgress, IsShownUnlessQuietAndCtrlCKeepsTheBestFit) {
    const Bench bench;
    bench.write("a.xyz", waves(60000, 0.1));
    const Outcome outcome =
        bench.run({"-t", "1e-12", "-s", "100", "-o", "out", "a.xyz"}, {.interrupt = true});
    EXPECT_EQ(0, outcome.code) << outcome.err;
    EXPECT_EQ(0U, outcome.err.find("kelvofit: Fitting iteration 1 (of max. "));
    const Json report = bench.report("out");
    EXPECT_EQ(Json::kTrue, report["stopped"].kind);
    EXPECT_EQ("stopped by the user", report["status"].string);
    EXPECT_EQ(4U, bench.list("out").size());
    // The running iteration was finished, and what it gave is what is reported.
    const Json& last = report["fit"]["steps"].items.back();
    const double largest = report["deviation"]["at_parameter"]["largest"].number;
    EXPECT_NEAR(last["largest"].number, largest, 1e-9 * largest);
    EXPECT_LT(report["fit"]["coefficients"].number, 103 * 103);
}

}  // namespace
}  // namespace kelvo::test
