// What could break here: results in the wrong directory, inputs that are not found in the project,
// frames that the next program does not find, directories left behind by a failed run.
#include <gtest/gtest.h>

#include <filesystem>

#include "KelvoBase/db_filename.h"
#include "KelvoBase/vl_filename.h"
#include "program.h"

namespace kelvo::test {
namespace {

Names inProject(Names arguments) {
    arguments.insert(arguments.begin(), {"-q", "--project", ".", "--name", "teapot"});
    return arguments;
}

/// The data, the bench as the directory of projects with "teapot" in it, and in that the input.
class ProjectBench : public Bench {
  public:
    ProjectBench() {
        fit({kTeapot});
        std::filesystem::copy(kTeapot, path("teapot/wire/input.patches"));
    }
    void fit(const Names& arguments) const {
        const Outcome outcome = run(inProject(arguments));
        EXPECT_EQ(0, outcome.code) << outcome.err;
    }
};

/// Paths of the frames that a program finds in the project, starting with any of them.
Names framesIn(const std::string& directory, const char* first) {
    Db_set_project_path((directory + "/").c_str());
    Db_set_project_name("teapot");
    Db_init_paths();
    Names found;
    VL_Filename frames(first, PIX_DATA);
    char path[263];
    for (int number = 1; frames.setFrame(number), frames.Filename(path) == 1; ++number)
        found.push_back(path);
    return found;
}

TEST(KelvofitProject, PutsResultsIntoTheDirectoriesOfTheirKinds) {
    const ProjectBench bench;
    EXPECT_EQ((Names{"pix", "report.json", "wire"}), bench.list("teapot"));
    EXPECT_EQ((Names{"fit.svg"}), bench.list("teapot/pix"));
    EXPECT_EQ((Names{"input.patches", "net.obj", "surface.obj"}), bench.list("teapot/wire"));
    bench.write("teapot/one.edit", "move 0 0 by 0 0 1\n");
    // The same by the form of paths that drives have, with the input and the script found there.
    const Outcome outcome = bench.run({"--project", "C:" + bench.directory() + "\\", "--name",
                                       "teapot", "--edit", "one.edit", "input.patches"});
    ASSERT_EQ(0, outcome.code) << outcome.err;
    EXPECT_NE(std::string::npos, outcome.out.find("results in " + bench.path("teapot/\n")));
    const Json report = bench.report("teapot");
    EXPECT_EQ("input.patches", report["input"]["file"].string);
    EXPECT_EQ("teapot", report["project"]["name"].string);
    EXPECT_EQ(1, report["edits"]["largest_move"].number);
    EXPECT_EQ((Names{"teapot"}), bench.list());
    // A result of this run may be the input of another project, but not of this one.
    bench.expectRefused(inProject({"net.obj"}),
                        "kelvofit: 'net.obj' would be replaced by a result\n");
    // Nor may the script be one, or a directory stand in the way of the last results.
    bench.write("teapot/report.json", "move 0 0 by 0 0 1\n");
    bench.expectRefused(inProject({"--edit", "report.json", "input.patches"}),
                        "kelvofit: 'report.json' would be replaced by a result\n");
    bench.write("teapot/wire/net.obj", "older");
    std::filesystem::remove(bench.path("teapot/pix/fit.svg"));
    std::filesystem::create_directory(bench.path("teapot/pix/fit.svg"));
    EXPECT_EQ(2, bench.run(inProject({"input.patches"})).code);
    EXPECT_EQ("older", bench.read("teapot/wire/net.obj"));
}

TEST(KelvofitProject, FramesAreASequenceThatIsFoundAgain) {
    const ProjectBench bench;
    bench.write("teapot/pix/fit.svg.2", "old");    // would be found first
    bench.write("teapot/pix/fit.svg.7.Z", "old");  // would go on
    for (const int count : {6, 3}) {
        bench.fit({"--turntable", std::to_string(count), "input.patches"});
        Names expected;
        for (int k = 1; k <= count; ++k) expected.push_back("fit.svg.000" + std::to_string(k));
        Names listed = bench.list("teapot/pix");
        listed.erase(listed.begin());  // fit.svg
        EXPECT_EQ(expected, listed);
        Names found = framesIn(bench.directory(), "fit.svg.12");
        ASSERT_EQ(expected.size(), found.size());
        for (std::size_t k = 0; k < found.size(); ++k)
            EXPECT_EQ("C:" + bench.path("teapot\\pix\\" + expected[k]), found[k]);
        const std::string frame = bench.read("teapot/pix/fit.svg.0002");
        EXPECT_EQ("</svg>\n", frame.substr(frame.size() - 7));
    }
}

TEST(KelvofitProject, LeavesNothingBehindWhenItFails) {
    const Bench bench;
    const std::string far(300, 'n');
    const struct {
        Names arguments;
        std::string message;
    } kRows[] = {
        {{"--project", "p", "--name", "a", "none.xyz"},
         "p/a/wire/none.xyz: cannot be opened: No such file or directory"},
        {{"--project", "p", "--name", "a", "--edit", "none.edit", "a.xyz"},
         "p/a/none.edit: cannot be opened: No such file or directory"},
        {{"--project", "p", "--name", "a", far + ".xyz"}, "paths in a project have up to 260"},
        {{"--project", far, "--name", "a", "a.xyz"}, "paths in a project have up to 260"},
        {{"--project", "p", "--name", far, "a.xyz"}, "paths in a project have up to 260"},
        {{"--project", "file", "--name", "a", "a.xyz"},
         "file/a/wire/: cannot be used for the results: Not a directory"},
        {{"--project", "p", "a.xyz"}, "--project and --name are of use together only"},
        {{"--name", "a", "a.xyz"}, "--project and --name are of use together only"},
        {{"--project", "p", "--name", "a/b", "a.xyz"}, "'a/b' is not a name of a directory"},
        {{"--project", "p", "--name", "..", "a.xyz"}, "'..' is not a name of a directory"},
        {{"--project", "", "--name", "a", "a.xyz"}, "--project: no directory given"},
        {{"--project", "p", "--name", "a", "-o", "x", "a.xyz"}, "--out is of no use with"},
    };
    bench.write("file", "");
    for (const auto& row : kRows) bench.expectRefused(row.arguments, row.message);
}

}  // namespace
}  // namespace kelvo::test
