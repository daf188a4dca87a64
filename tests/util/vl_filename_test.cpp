// What could break: a name taken for a frame or not, files that exist and are not found, texts
// released twice or not at all.
#include "KelvoBase/vl_filename.h"

#include <random>

#include "Base/ma.h"
#include "KelvoBase/ds_lists.h"
#include "KelvoBase/regex.h"
#include "tests/support/child_process.h"
#include "tests/support/test.h"
#include "tests/util/sandbox.h"

namespace {

using namespace kelvo::test;

struct Parsed {
    const char* name;
    const char* base;  // null: no frame
    int frame;
};

const Parsed kParsed[] = {
    {"shot.0042", "shot", 42},
    {"shot.0042.Z", "shot", 42},
    {"shot.0042.Zoo", "shot", 42},
    {"shot.1a", "shot", 1},
    {"a.1.2", "a.1", 2},
    {"a.1.2.Z", "a.1", 2},
    {"C:\\dir.x\\f.7", "C:\\dir.x\\f", 7},
    {"dir.0001/f.Z", "dir", 1},
    {"a.99999999999999999999", "a", INT_MAX},
    {"a.2147483648", "a", INT_MAX},
    {"..7", ".", 7},
    {"", nullptr, 0},
    {".", nullptr, 0},
    {".Z", nullptr, 0},
    {"..Z", nullptr, 0},
    {"a.", nullptr, 0},
    {"dir.x/file", nullptr, 0},
    {"dir.1/file", nullptr, 0},
    {"dir.1\\file", nullptr, 0},
    {".0042", nullptr, 0},
    {".0042.Z", nullptr, 0},
    {"shot.tif", nullptr, 0},
    {"shot.Z", nullptr, 0},
    {"shot.x.Z", nullptr, 0},
    {"shot.0042.z", nullptr, 0},
    {"shot.0042.tif", nullptr, 0},
    {"shot.-1", nullptr, 0},
};

void expectParsed(const Parsed& row) {
    SCOPED_TRACE(row.name);
    const VL_Filename name(row.name, WIRE_DATA);
    EXPECT_EQ(row.base != nullptr, name.Sequence() == 1);
    EXPECT_EQ(row.base != nullptr ? row.frame : -1, name.Frame());
    EXPECT_STREQ(row.base != nullptr ? nullptr : row.name, name.Filename());
    EXPECT_STREQ(row.base != nullptr ? row.base : row.name, name.BaseFilename());
}

TEST(FilenameParsing, FindsTheFrame) {
    for (const Parsed& row : kParsed) expectParsed(row);
}

TEST(FilenameParsing, AgreesWithAGrammar) {
    const boost::regex plain("(.+)\\.([0-9])[^./\\\\]*"),
        compressed("(.+)\\.([0-9])[^.]*\\.Z[^./\\\\]*");
    std::mt19937 random(1);
    int frames = 0;
    for (int i = 0; i < 20000; ++i) {
        std::string text;
        for (std::size_t n = random() % 12; n > 0; --n) text += "a.0.7.Z/\\"[random() % 9];
        boost::smatch match;
        const bool frame =
            boost::regex_match(text, match, plain) || boost::regex_match(text, match, compressed);
        const VL_Filename name(text.c_str(), WIRE_DATA);
        ASSERT_EQ(frame, name.Sequence() == 1) << text;
        ASSERT_EQ(frame ? match.str(1) : text, name.BaseFilename()) << text;
        frames += frame;
    }
    EXPECT_GT(frames, 1000);
}

TEST(FilenameState, ChangesAsNamesAndFramesAreSet) {
    const long blocks = MA_liveBlocks();
    {
        VL_Filename name;
        EXPECT_STREQ("", name.Filename());
        EXPECT_EQ(-1, name.setFrame(-1));
        EXPECT_EQ(0, name.Sequence());
        EXPECT_EQ(1, name.setFilename("a.5"));
        EXPECT_EQ(5, name.setFrame(5));
        EXPECT_EQ(5, name.setFrame(6));
        name.setFilename("plain");
        EXPECT_EQ(6, name.Frame());  // stays
        EXPECT_EQ(0, name.Sequence());
        EXPECT_EQ(6, name.setFrame(7));
        EXPECT_EQ(1, name.Sequence());
        name.setFilename("plain");  // the same name changes nothing
        EXPECT_EQ(1, name.Sequence());
        name.setFilename(name.Filename() + 1);
        EXPECT_STREQ("lain", name.Filename());
        name.setFilename("base.x.3");
        name.setFilename(name.BaseFilename());
        EXPECT_STREQ("base.x", name.Filename());
        EXPECT_EQ(1, name.setFilename(nullptr));
        EXPECT_EQ(nullptr, name.BaseFilename());
        EXPECT_EQ(0, name.CheckStatus());
        char out[] = "same";
        EXPECT_EQ(0, name.Filename(out));
        EXPECT_STREQ("same", out);
        name.setFilename("a.1");
        EXPECT_EQ(0, name.Filename(nullptr));
        MA_failAfter(0);
        name.setFilename("b.2");  // no memory for the base name: a plain one
        MA_failAfter(-1);
        EXPECT_STREQ("b.2", name.Filename());
    }
    EXPECT_EQ(blocks, MA_liveBlocks());
}

TEST(FilenameState, CopiesShareTheTexts) {
    alignas(VL_Filename) char room[sizeof(VL_Filename)];  // never destroyed
    const VL_Filename original("a.7", MASK_DATA);
    VL_Filename* const copy = new (room) VL_Filename(original);
    EXPECT_EQ(original.BaseFilename(), copy->BaseFilename());
    const VL_Filename other("b", MASK_DATA);
    EXPECT_EQ(copy, &(*copy = other));
    EXPECT_EQ(other.Filename(), copy->Filename());
    EXPECT_EQ(0, copy->Sequence());
}

TEST(FrameRange, IsOpen) {
    const auto check = [] {
        const VL_Filename name("a.7");
        const long blocks = MA_liveBlocks();
        int first = 5, last = 5, step = 5;
        EXPECT_EQ(1, name.getFrameRange(&first, &last, &step));
        EXPECT_EQ(-1, first);
        EXPECT_EQ(2147483647, last);
        EXPECT_EQ(5, step);
        EXPECT_EQ(1, name.getFrameRange(nullptr, nullptr, nullptr));
        DS* frames = nullptr;
        EXPECT_EQ(1, name.getFrameRange(&frames));
        EXPECT_EQ(nullptr, frames);
        EXPECT_EQ(blocks, MA_liveBlocks());
    };
    EXPECT_TRUE(passesInChild(check));
    EXPECT_TRUE(passesInChild([&] {
        int status = 1;
        ASSERT_EQ(1, Ds_register_structure(2, Ds_dlist_get_methods(), &status));
        check();
        MA_failAfter(0);
        EXPECT_EQ(1, VL_Filename("a").getFrameRange(nullptr, nullptr, nullptr));
        MA_failAfter(-1);
    }));
}

struct Lookup {
    const char* name;
    const char* onDisk;    // in the directory of the kind
    const char* expected;  // what is found; null: nothing
};

// Widths 1 to 4 are tried, 5 and more when the name has so many digits and zeros in front.
const Lookup kLookups[] = {
    {"shot.42", "shot.42", "shot.42"},
    {"shot.42", "shot.042", "shot.042"},
    {"shot.42", "shot.0042", "shot.0042"},
    {"shot.42", "shot.00042", nullptr},
    {"shot.0042", "shot.42", "shot.42"},
    {"shot.0042", "shot.00042", nullptr},
    {"shot.00042", "shot.00042", "shot.00042"},
    {"shot.00042", "shot.000042", nullptr},
    {"shot.00001", "shot.00001", "shot.00001"},
    {"shot.00001", "shot.1", "shot.1"},
    {"shot.0000001", "shot.0000001", "shot.0000001"},
    {"shot.0010", "shot.00010", nullptr},
    {"shot.00420", "shot.00420", nullptr},
    {"shot.7", "shot.7", "shot.7"},
    {"shot.7", "shot.07", "shot.07"},
    {"shot.12345", "shot.12345", "shot.12345"},
    {"shot.0042.Z", "shot.0042", "shot.0042"},
    {"shot.0042", "shot.0042.Z", "shot.0042.Z"},
    {"shot.42.Z", "shot.042.Z", "shot.042.Z"},
    {"shot", "shot", "shot"},
    {"shot", "shot.Z", "shot.Z"},
    {"shot.Z", "shot.Z", "shot.Z"},
    {"shot.Z", "shot", nullptr},
    {"\"a b\"", "a b", "a b"},
    {"\"a b.07\"", "a b.7", "a b.7"},
    {"shot", "other", nullptr},
};

TEST(FilenameLookup, TriesWidthsAndCompression) {
    for (const Lookup& row : kLookups) {
        SCOPED_TRACE(testing::Message() << row.name << " for " << row.onDisk);
        const Sandbox sandbox;
        sandbox.file(std::string("work/shots/wire/") + row.onDisk);
        const VL_Filename name(row.name, WIRE_DATA);
        const std::string directory = "C:\\work\\shots\\wire\\";
        char out[263];
        EXPECT_EQ(row.expected != nullptr, name.CheckStatus() == 1);
        EXPECT_EQ(row.expected != nullptr, name.Filename(out) == 1);
        const char* const compressed = name.Sequence() ? "" : ".Z";
        EXPECT_EQ(directory +
                      (row.expected ? row.expected : std::string(name.BaseFilename()) + compressed),
                  out);
    }
}

TEST(FilenameLookup, FindsTheFirstOfSeveral) {
    const Sandbox sandbox;
    VL_Filename name("shot.00042", PIX_DATA);
    char out[263];
    for (const char* file : {"00042.Z", "00042", "0042.Z", "042", "42.Z", "42"}) {
        sandbox.file(std::string("work/shots/pix/shot.") + file);
        EXPECT_EQ(1, name.Filename(out));
        EXPECT_EQ(std::string("C:\\work\\shots\\pix\\shot.") + file, out);
    }
    name.setFrame(-7);
    EXPECT_EQ(0, name.Filename(out));
    sandbox.file("work/shots/pix/shot.-007");
    EXPECT_EQ(1, name.Filename(out));
}

TEST(FilenameLookup, UnquotesTheNameItHolds) {
    const Sandbox sandbox;
    const VL_Filename name("\"C:\\a b\"", WIRE_DATA);
    EXPECT_EQ(0, name.CheckStatus());
    EXPECT_STREQ("C:\\a b", name.Filename());
}

// Longer than any buffer: the directory stands for names that do not fit behind it, and is found.
TEST(FilenameLookup, TakesNamesOfAnyLength) {
    const Sandbox sandbox;
    char out[263];
    for (const std::size_t length : {255u, 260u, 1024u, 100000u})
        for (const std::string& tail :
             {std::string(), std::string(".1"), "." + std::string(length, '0')}) {
            const std::string text = std::string(length, 'n') + tail;
            EXPECT_EQ(1, VL_Filename(text.c_str(), WIRE_DATA).Filename(out));
            EXPECT_STREQ("C:\\work\\shots\\wire\\", out);
            EXPECT_EQ(0, VL_Filename(("C:\\" + text).c_str(), WIRE_DATA).CheckStatus());
        }
    // With a directory of one character only the widest numbers make the path too long.
    Sandbox::setProject("C:\\work\\", "shots", "");
    EXPECT_EQ(1, VL_Filename(("n." + std::string(300, '0')).c_str(), DEBUG_DATA).Filename(out));
    EXPECT_STREQ("\\", out);
}

// What the hook was asked, and what it answers.
struct Hook {
    std::string asked;
    int flag = 0;
    const char* answer = nullptr;
};
Hook g_hook;

char* answer(const char* name, int flag) {
    g_hook.asked += std::string(name) + " ";
    g_hook.flag = flag;
    if (g_hook.answer == nullptr) return nullptr;
    const std::size_t size = std::strlen(g_hook.answer) + 1;
    return static_cast<char*>(std::memcpy(MA_malloc(size, 0, nullptr, 0), g_hook.answer, size));
}

struct HookRow {
    const char* name;
    int type;
    const char* answer;
    const char* asked;
    const char* expected;  // null: not found
};

#define P "C:\\work\\shots\\pix\\"
#define M "C:\\work\\shots\\mask\\"
const HookRow kHooked[] = {
    {"a", PIX_DATA, nullptr, P "a ", nullptr},
    {"a", PIX_DATA, P "a.tif", P "a ", P "a.tif"},
    {"a.x", MASK_DATA, M "none", M "a.x ", nullptr},
    {"a.x", MASK_DATA, P "a.tif", M "a.x ", P "a.tif"},
    {"a", WIRE_DATA, P "a.tif", "", nullptr},
    {"a.tif", PIX_DATA, P "none", "", P "a.tif"},
    {"a.7", PIX_DATA, nullptr, P "a.7 " P "a.07 " P "a.007 " P "a.0007 ", nullptr},
    {"a.7", PIX_DATA, P "a.tif", P "a.7 ", P "a.tif"},
};
#undef P
#undef M

TEST(FilenameLookup, AsksTheHookForPictures) {
    EXPECT_EQ(nullptr, Ar_expand_pixname("a", 1));
    rtbInit_Ar_expand_pixname(answer);
    for (const HookRow& row : kHooked) {
        SCOPED_TRACE(testing::Message() << row.name << " " << row.type);
        const Sandbox sandbox;
        sandbox.file("work/shots/pix/a.tif");
        g_hook = {"", 0, row.answer};
        const long blocks = MA_liveBlocks();
        {
            const VL_Filename name(row.name, row.type);
            char out[263];
            EXPECT_EQ(row.expected != nullptr, name.Filename(out) == 1);
            // A plain name that the hook did not find is left without ".Z".
            const std::string tried = std::string(out) + " ";
            if (row.expected == nullptr && !name.Sequence() && *row.asked) {
                EXPECT_EQ(row.asked, tried);
            }
            if (row.expected != nullptr) {
                EXPECT_STREQ(row.expected, out);
            }
            EXPECT_EQ(row.asked, g_hook.asked);
            EXPECT_EQ(*row.asked ? 1 : 0, g_hook.flag);
        }
        EXPECT_EQ(blocks, MA_liveBlocks());
    }
    rtbInit_Ar_expand_pixname(nullptr);
    EXPECT_EQ(nullptr, Ar_expand_pixname("a", 1));
}

std::string debugText(const VL_Filename& name) {
    testing::internal::CaptureStdout();
    name.debug();
    return testing::internal::GetCapturedStdout();
}

TEST(FilenameDebug, ShowsThePathOfWhatIsMissing) {
    const Sandbox sandbox;
    sandbox.file("work/shots/wire/here");
    EXPECT_EQ(
        "TYPE: VL_Filename\n  Filename:  here\n  Basename:  NULL\n  Expanded:  (none)\n"
        "  Sequence:  NO\n  Type:      WIRE_DATA\n  Frame:     -1\n",
        debugText(VL_Filename("here", WIRE_DATA)));
    EXPECT_EQ(
        "TYPE: VL_Filename\n  Filename:  NULL\n  Basename:  a\n"
        "  Expanded:  C:\\work\\shots\\wire\\a\n"
        "  Sequence:  YES\n  Type:      SOUND_DATA\n  Frame:     12\n",
        debugText(VL_Filename("a.0012", SOUND_DATA)));
    EXPECT_EQ(
        "TYPE: VL_Filename\n  Filename:  NULL\n  Basename:  NULL\n  Expanded:  \n"
        "  Sequence:  NO\n  Type:      UNKNOWN\n  Frame:     -1\n",
        debugText(VL_Filename(nullptr, 23)));
}

TEST(FilenameDebug, NamesTheKinds) {
    const char* const kKinds[] = {
        "ANIM",   "PIX",    "SDL",     "WIRE",        "MASK",   "PIXAR",     "DIR",    "PROJ",
        "ANY",    "MISC",   "DEFAULT", "ANYDIR",      "OPTION", "FBI",       "BROWSE", "PLOT",
        "SLA",    "SHADER", "TEXTURE", "TEXT",        "STAGE",  "SOURCEPIX", "DEBUG",  nullptr,
        "WINDOW", "RIB",    "LIGHT",   "ENVIRONMENT", nullptr,  nullptr,     nullptr,  nullptr,
        nullptr,  nullptr,  nullptr,   nullptr,       nullptr,  "SOUND",     nullptr};
    for (int type = -1; type < static_cast<int>(std::size(kKinds)); ++type) {
        const char* const kind = type >= 0 ? kKinds[type] : nullptr;
        const std::string line =
            std::string("Type:      ") + (kind ? std::string(kind) + "_DATA\n" : "UNKNOWN\n");
        EXPECT_NE(std::string::npos, debugText(VL_Filename(nullptr, type)).find(line)) << type;
    }
}

}  // namespace
