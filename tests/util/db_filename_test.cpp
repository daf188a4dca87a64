// What could break: a kind in the wrong directory, texts beyond their buffers, separators of the
// wrong system in a text, state that stays from an earlier project.
#include "KelvoBase/db_filename.h"

#include "Base/ma.h"
#include "Base/zo_os_system.h"
#include "tests/support/test.h"
#include "tests/util/sandbox.h"

namespace {

using namespace kelvo::test;

constexpr int kNoKind[] = {5, 13, 14, 23, 33, -1, 47, 1 << 30};

struct Kind {
    std::string directory;
    int type;
};

// All kinds, in the order of the table.
const std::vector<Kind>& kinds() {
    static const std::vector<Kind> all = [] {
        std::istringstream text(
            "anim 0 pix 1 pix 21 mask 4 sdl 2 rib 25 . 6 . 11 . 19 .. 7 misc_data 9 option 12 "
            "option 24 plot 15 wire 3 wire 20 wire 10 wire 8 sla 16 shader 17 texture 18 "
            "light 26 environment 27 layeredshader 45 canvas 28 stencil 31 colors 38 shapes 32 "
            "imageLayers 39 textureLayers 40 geometryLayers 41 brushes 42 spTextures 43 "
            "spTextureScripts 44 ..\\.. 22 depth 29 sdl 30 stageset 34 cloud 35 wire 37 "
            "..\\.. 36 reference 46");
        std::vector<Kind> rows;
        for (Kind kind; text >> kind.directory >> kind.type;) rows.push_back(kind);
        return rows;
    }();
    return all;
}

TEST(DefaultPaths, AreInTheirOrder) {
    ASSERT_EQ(42u, kinds().size());
    const DbPathEntry* entry = Db_get_default_paths();
    for (const Kind& kind : kinds()) {
        EXPECT_EQ(kind.directory, entry->path);
        EXPECT_EQ(kind.type, entry++->type) << kind.directory;
    }
    EXPECT_EQ(nullptr, entry->path);
}

struct Project {
    const char *path, *name, *cwd;
    const char *pix, *self, *above, *debug;  // the paths of four kinds
};

// Kinds 1, 6, 7 and 22 stand for the four ways in which a path is made.
const Project kProjects[] = {
    {"C:\\work\\", "shots", "C:\\cwd", "C:\\work\\shots\\pix\\", "C:\\work\\shots\\", "C:\\work\\",
     "C:\\cwd\\"},
    {"d:/w/", "a b", "", "d:/w/a b\\pix\\", "d:/w/a b\\", "d:/w/", "\\"},
    {"\\work\\", "s", "x", "E:\\work\\s\\pix\\", "\\work\\s\\", "\\work\\", "x\\"},
    {"/tmp/w/", "s", "/x", "E:/tmp/w/s\\pix\\", "/tmp/w/s\\", "/tmp/w/", "/x\\"},
    {"", "", "", "E:\\pix\\", "\\", "", "\\"},
    {"C", "%s", "%d", "E:C%s\\pix\\", "C%s\\", "C", "%d\\"},
};

TEST(Paths, FollowTheProject) {
    const Sandbox sandbox;
    zoOS::Probes probes;
    probes.currentDrive = [] { return 5; };
    zoOS::setProbes(&probes);
    for (const Project& p : kProjects) {
        SCOPED_TRACE(p.pix);
        Sandbox::setProject(p.path, p.name, p.cwd);
        const DbPathEntry* const paths = Db_get_paths();
        for (std::size_t i = 0; i < kinds().size(); ++i) {
            const std::string directory = kinds()[i].directory, pix = p.pix;
            EXPECT_EQ(directory == "."        ? p.self
                      : directory == ".."     ? p.above
                      : directory == "..\\.." ? p.debug
                                              : pix.substr(0, pix.size() - 4) + directory + "\\",
                      paths[i].path);
            EXPECT_EQ(kinds()[i].type, paths[i].type);
        }
        EXPECT_EQ(nullptr, paths[42].path);
        EXPECT_EQ(0, paths[42].type);
        EXPECT_EQ(paths + 1, Db_default_path(PIX_DATA));
        EXPECT_EQ(paths + 9, Db_default_path(PROJ_DATA));
        for (const int type : kNoKind) EXPECT_EQ(nullptr, Db_default_path(type)) << type;
    }
    zoOS::setProbes(nullptr);
}

TEST(ProjectTexts, AreCutToTheirBuffers) {
    const Sandbox sandbox;
    const std::string longest(259, 'y'), tooLong(5000, 'y');
    Sandbox::setProject(("C:" + tooLong).c_str(), tooLong.c_str(), tooLong.c_str());
    EXPECT_EQ("C:" + longest.substr(2), Db_get_project_path());
    EXPECT_EQ(longest, Db_get_project_name());
    EXPECT_EQ(longest, Db_get_vl_cwd());
    for (const DbPathEntry* entry = Db_get_paths(); entry->path != nullptr; ++entry)
        EXPECT_EQ(entry->type == PROJ_DATA ? 259u : 260u, std::strlen(entry->path));
    // The buffers belong to the callers too, even without a terminator.
    std::memset(Db_get_vl_cwd(), 'z', 260);
    Db_init_paths();
    EXPECT_EQ(std::string(260, 'z'), Db_default_path(DEBUG_DATA)->path);
    Db_set_project_name(Db_get_project_name() + 250);
    EXPECT_STREQ("yyyyyyyyy", Db_get_project_name());
    Db_set_project_name(nullptr);
    EXPECT_STREQ("", Db_get_project_name());
}

TEST(ProjectExtension, IsACopy) {
    const long blocks = MA_liveBlocks();
    EXPECT_EQ(nullptr, Db_get_project_extension());
    char text[] = ".proj";
    Db_set_project_extension(text);
    text[0] = 'x';
    EXPECT_STREQ(".proj", Db_get_project_extension());
    Db_set_project_extension(Db_get_project_extension() + 1);
    EXPECT_STREQ("proj", Db_get_project_extension());
    Db_set_project_extension(nullptr);
    EXPECT_EQ(nullptr, Db_get_project_extension());
    EXPECT_EQ(blocks, MA_liveBlocks());
}

struct Row {
    const char *given, *expected;
};

TEST(Dirname, EndsWithTheLastSeparator) {
    const Row kRows[] = {
        {"C:\\a\\b.txt", "C:\\a\\"},
        {"b.txt", "b"},
        {"", ""},
        {"\\", "\\"},
        {"\\b", "\\"},
        {"a\\", "a\\"},
        {"a/b", "a"},
        {"C:/a/b", "C"},
        {"a/b\\c/d", "a/b\\"},
        {"/a/b", "/a/"},
        {"/b", "/"},
        {"/a\\b/c", "/a\\"},
        {"http://h/p/f", "http://h/p/"},
        {"http://h\\p/f", "http://h\\"},
        {"ftp://", "ftp://"},
        {"file:///a/b", "f"},
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.given);
        char out[32];
        EXPECT_EQ(1, Db_make_dirname(row.given, out));
        EXPECT_STREQ(row.expected, out);
        std::strcpy(out, row.given);
        EXPECT_EQ(1, Db_make_dirname(out, out));
        EXPECT_STREQ(row.expected, out);
    }
    char out[] = "same";
    EXPECT_EQ(0, Db_make_dirname(nullptr, out));
    EXPECT_STREQ("same", out);
    EXPECT_EQ(0, Db_make_dirname("a", nullptr));
}

struct Expansion {
    const char* given;
    int type;
    const char* expected;
    const char* left;  // of the caller's text
};

const Expansion kExpansions[] = {
    {"a.tif", PIX_DATA, "C:\\work\\shots\\pix\\a.tif", "a.tif"},
    {"sub\\a", WIRE_DATA, "C:\\work\\shots\\wire\\sub\\a", "sub\\a"},
    {"", DIR_DATA, "C:\\work\\shots\\", ""},
    {"p", PROJ_DATA, "C:\\work\\p", "p"},
    {"d", DEBUG_DATA, "C:\\cwd\\d", "d"},
    {"D:a", PIX_DATA, "D:a", "D:a"},
    {"\\a", PIX_DATA, "\\a", "\\a"},
    {"/a", PIX_DATA, "/a", "/a"},
    {"http://a/b", PIX_DATA, "http://a/b", "http://a/b"},
    {"file://a", PIX_DATA, "C:\\work\\shots\\pix\\file://a", "file://a"},
    {"\"a b\"", PIX_DATA, "C:\\work\\shots\\pix\\a b", "a b"},
    {"\"\"C:\\a\"", PIX_DATA, "C:\\a", "C:\\a"},
    {"\"", PIX_DATA, "C:\\work\\shots\\pix\\", ""},
    {"a\"", PIX_DATA, "C:\\work\\shots\\pix\\a\"", "a\""},
    {"a", 23, "a", "a"},
    {"\"a\"", 5, "a", "a"},
};

TEST(ExpandFilename, LeadsIntoTheDirectoryOfTheKind) {
    const Sandbox sandbox;
    for (const Expansion& row : kExpansions) {
        SCOPED_TRACE(row.given);
        char out[300], name[300];
        std::strcpy(name, row.given);
        EXPECT_EQ(out, expand_filename(out, name, row.type));
        EXPECT_STREQ(row.expected, out);
        EXPECT_STREQ(row.left, name);
        std::strcpy(name, row.given);
        EXPECT_STREQ(row.expected, expand_filename(name, name, row.type));
    }
    EXPECT_EQ("pix wire", sandbox.list("work/shots"));
    char out[300];
    EXPECT_STREQ("C:\\work\\shots\\mask\\", expand_filename(out, nullptr, MASK_DATA));
    EXPECT_EQ("mask pix wire", sandbox.list("work/shots"));
    EXPECT_STREQ("", expand_filename(out, nullptr, 23));
    EXPECT_EQ(nullptr, expand_filename(nullptr, "a", PIX_DATA));
    Sandbox::setProject("C:\\none\\", "a", "");  // directories are made one level deep
    EXPECT_STREQ("C:\\none\\a\\pix\\a", expand_filename(out, "a", PIX_DATA));
    EXPECT_EQ("cwd work", sandbox.list(""));
}

TEST(ExpandFilename, GivesTheDirectoryWhenThePathWouldBeTooLong) {
    const Sandbox sandbox;
    const std::string directory = "C:\\work\\shots\\pix\\";
    const std::string fits(260 - directory.size(), 'n');
    char out[261];
    EXPECT_EQ(directory + fits, expand_filename(out, fits.c_str(), PIX_DATA));
    EXPECT_EQ(directory, expand_filename(out, (fits + "n").c_str(), PIX_DATA));
    EXPECT_EQ(directory, expand_filename(out, std::string(100000, 'n').c_str(), PIX_DATA));
}

// A project in the manner of this system works as well.
TEST(ExpandFilename, ReachesProjectsBelowARoot) {
    const Sandbox sandbox;
    zoOS::setDriveRoot('C', nullptr);
    Sandbox::setProject((sandbox / "work/").c_str(), "shots", "");
    char out[300];
    expand_filename(out, "a", PIX_DATA);
    EXPECT_EQ("C:" + (sandbox / "work/shots\\pix\\a"), out);
    EXPECT_EQ(sandbox / "work/p", expand_filename(out, "p", PROJ_DATA));
    EXPECT_EQ("pix", sandbox.list("work/shots"));
}

TEST(Texts, AreConvertedInACopy) {
    const struct {
        const char *given, *forward, *back;
    } kRows[] = {{"", "", ""},
                 {"a\\b/c", "a/b/c", "a\\b\\c"},
                 {"~", "~", "~"},
                 {"~u/a\\b", "~u/a/b", "~u\\a\\b"},
                 {"~/a", "~/a", "~\\a"}};
    for (const auto& row : kRows) {
        char* const copies[] = {convertFilename(row.given, 1), convertFilename(row.given, -7),
                                convertFilename(row.given, 0), ExpandPathname(row.given)};
        EXPECT_STREQ(row.forward, copies[0]);
        EXPECT_STREQ(row.forward, copies[1]);
        EXPECT_STREQ(row.back, copies[2]);
        EXPECT_STREQ(row.given, copies[3]);
        EXPECT_NE(row.given, copies[3]);
        for (char* copy : copies) std::free(copy);
    }
    EXPECT_EQ(nullptr, convertFilename(nullptr, 1));
    EXPECT_EQ(nullptr, ExpandPathname(nullptr));
}

TEST(Texts, LoseACharacterAtBothEnds) {
    const Row kRows[] = {{"\"a\"", "a"}, {"\"\"a\"b\"\"", "a\"b"}, {"\"\"\"", ""}, {"\"", ""},
                         {"", ""},       {"a\"b", "a\"b"},         {"a\"", "a"},   {"\"a", "a"}};
    for (const Row& row : kRows) {
        char text[16];
        std::strcpy(text, row.given);
        VL_string_leading_trailing_remove(text, '"');
        EXPECT_STREQ(row.expected, text) << row.given;
    }
    char text[] = "a";
    VL_string_leading_trailing_remove(text, '\0');
    EXPECT_STREQ("a", text);
    VL_string_leading_trailing_remove(nullptr, '"');
}

std::string g_module;

TEST(VelaPath, IsAboveTheProgramsDirectory) {
    const Row kRows[] = {
        {"C:\\Programs\\App\\bin\\app.exe", "C:\\Programs\\App"},
        {"C:\\binaries\\App\\bin\\app.exe", "C:"},
        {"C:\\Programs\\App\\app.exe", "C:\\Programs\\App"},
        {"C:\\App\\binary.exe", "C:\\App"},
        {"/usr/local/bin/app", "/usr/local"},
        {"/opt/App/app", "/opt/App"},
        {"/bin/app", ""},
        {"bin\\app", "bin"},
        {"app", "app"},
        {"", ""},
    };
    const ScopedVariable none("VELA_LOCATION", nullptr);
    zoOS::Probes probes;
    probes.moduleFileName = [] { return g_module.c_str(); };
    zoOS::setProbes(&probes);
    for (const Row& row : kRows) {
        g_module = row.given;
        EXPECT_STREQ(row.expected, getVelaPath()) << row.given;
    }
    const std::string deep = "C:\\" + std::string(250, 'd');
    g_module = deep + "\\" + std::string(100000, 'e') + "\\bin\\app";
    EXPECT_EQ(deep, getVelaPath());
    g_module = "C:\\" + std::string(100000, 'd');
    EXPECT_STREQ("C:", getVelaPath());
    zoOS::setProbes(nullptr);
    EXPECT_EQ(std::string::npos, std::string(getVelaPath()).find("/bin"));
    for (const char* value : {"", "D:\\vela\\bin\\x"}) {
        const ScopedVariable location("VELA_LOCATION", value);
        EXPECT_EQ(std::getenv("VELA_LOCATION"), getVelaPath());
    }
}

}  // namespace
