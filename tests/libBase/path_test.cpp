// What could break: texts that reach the wrong file, names taken for Internet addresses, probes
// that stay in force.
#include "Base/zo_os_path.h"
#include "Base/zo_os_system.h"
#include "Base/zo_os_uuid.h"
#include "tests/support/temporary_directory.h"
#include "tests/support/test.h"

namespace {

using zoOS::nativePath;

// Sets a drive's root and puts "/" back.
struct DriveRoot {
    DriveRoot(char drive, const char* root) : letter(drive) { zoOS::setDriveRoot(letter, root); }
    ~DriveRoot() { zoOS::setDriveRoot(letter, nullptr); }
    char letter;
};

struct ProbeGuard {
    ~ProbeGuard() { zoOS::setProbes(nullptr); }
};

struct Row {
    const char* given;
    const char* native;
};

void expectRows(const Row (&rows)[16]) {
    for (const Row& row : rows) {
        SCOPED_TRACE(row.given);
        EXPECT_STREQ(row.native, nativePath(row.given).c_str());
    }
}

TEST(NativePath, DrivesStandForTheRoot) {
    EXPECT_STREQ("", nativePath(nullptr).c_str());
    expectRows({{"", ""},
                {"/tmp/x", "/tmp/x"},
                {"a/b", "a/b"},
                {"a\\b\\", "a/b/"},
                {"\\a\\b", "/a/b"},
                {"\\", "/"},
                {"\\\\host\\share", "//host/share"},
                {"C:", "/"},
                {"c:\\", "/"},
                {"C:\\shots\\pix\\a b.tif", "/shots/pix/a b.tif"},
                {"C:/work", "/work"},
                {"C:work", "/work"},
                {"z:\\a", "/a"},
                {"1:\\a", "1:/a"},
                {":\\a", ":/a"},
                {"C", "C"}});
}

TEST(NativePath, DrivesStandForTheirOwnRoot) {
    const DriveRoot c('C', "/home/u/drive//"), d('d', "/d");
    zoOS::setDriveRoot('?', "/nowhere");
    expectRows({{"", ""},
                {"/tmp/x", "/tmp/x"},
                {"a\\b", "a/b"},
                {"\\a\\b", "/home/u/drive/a/b"},
                {"\\", "/home/u/drive/"},
                {"\\\\host\\share", "//host/share"},
                {"C:", "/home/u/drive"},
                {"c:\\", "/home/u/drive/"},
                {"C:\\work\\..\\a", "/home/u/drive/work/../a"},
                {"C:/work", "/home/u/drive/work"},
                {"C:work", "/home/u/drive/work"},
                {"C:C:\\x", "/home/u/drive/C:/x"},
                {"D:\\x", "/d/x"},
                {"d:", "/d"},
                {"e:\\x", "/x"},
                {"?:\\x", "?:/x"}});
}

TEST(Url, OnlyForeignSchemesAreNotLocal) {
    for (const char* local : {(const char*)nullptr, "", "a", "C:\\a", "C:/a", "c://a", "/a", "a:b",
                              "file:///a", "FILE://a", "File://", "://a", "1http://a", "a b://c",
                              "dir/http://x", "http:/a", "\xE9t://a"})
        EXPECT_TRUE(zoOS::URL(local).isLocalFile()) << (local ? local : "null");
    for (const char* foreign : {"http://a", "HTTPS://a", "ftp://", "svn+ssh://h/p", "files://a",
                                "fil://a", "ab://", "h323://x"})
        EXPECT_FALSE(zoOS::URL(foreign).isLocalFile()) << foreign;
}

TEST(UniqueName, ReplacesTheTailByNamesThatAreFree) {
    constexpr const char* kLetters = "abcdefghijklmnopqrstuvwxyz0123456789";
    const kelvo::test::TemporaryDirectory directory;
    std::set<std::string> names;
    for (int i = 0; i < 100; ++i) {
        std::string name = directory / "aXXXXXX";
        ASSERT_TRUE(zoOS::makeUniqueName(name.data()));
        EXPECT_EQ((directory / "a").size() + 6, name.size());
        EXPECT_EQ(0u, name.find(directory / "a"));
        EXPECT_EQ(std::string::npos, name.find_first_not_of(kLetters, name.size() - 6)) << name;
        names.insert(name);
    }
    EXPECT_EQ(100u, names.size());
    char wrong[][10] = {"", "XXXXX", "XXXXXXa", "xXXXXXx"};
    for (char* name : wrong) {
        const std::string before = name;
        EXPECT_FALSE(zoOS::makeUniqueName(name));
        EXPECT_EQ(before, name);
    }
    EXPECT_FALSE(zoOS::makeUniqueName(nullptr));
}

TEST(Probes, ReplaceTheModuleAndTheDrive) {
    EXPECT_EQ(3, zoOS::currentDrive());
    EXPECT_NE(nullptr, std::strstr(zoOS::moduleFileName().c_str(), "/test_zoOS_path"));
    const DriveRoot d('D', "/d");
    {
        const ProbeGuard guard;
        zoOS::Probes probes;
        probes.currentDrive = [] { return 4; };
        probes.moduleFileName = [] { return "C:\\App\\bin\\app.exe"; };
        zoOS::setProbes(&probes);
        EXPECT_EQ(4, zoOS::currentDrive());
        EXPECT_STREQ("/d/x", nativePath("\\x").c_str());
        EXPECT_STREQ("C:\\App\\bin\\app.exe", zoOS::moduleFileName().c_str());
        for (const int wild : {0, -1, 27, 1 << 30}) {
            static int drive;
            drive = wild;
            probes.currentDrive = [] { return drive; };
            zoOS::setProbes(&probes);
            EXPECT_STREQ("/x", nativePath("\\x").c_str());
        }
    }
    EXPECT_EQ(3, zoOS::currentDrive());
}

TEST(Uuid, IsRandomAndOfVersion4) {
    // x: a hexadecimal digit; all else stands for itself.
    const std::string form = "xxxxxxxx-xxxx-4xxx-xxxx-xxxxxxxxxxxx";
    std::set<std::string> seen;
    for (int i = 0; i < 1000; ++i) {
        const zoOS::Uuid id = zoOS::Uuid::generate();
        const std::string text = id.asString().str();
        ASSERT_EQ(form.size(), text.size());
        for (std::size_t at = 0; at < form.size(); ++at) {
            const bool fits = form[at] == 'x' ? std::strchr("0123456789abcdef", text[at]) != nullptr
                                              : text[at] == form[at];
            EXPECT_TRUE(fits) << text;
        }
        EXPECT_NE(nullptr, std::strchr("89ab", text[19])) << text;
        seen.insert(text);
    }
    EXPECT_EQ(1000u, seen.size());
    EXPECT_STREQ("00000000-0000-0000-0000-000000000000", zoOS::Uuid().asString().c_str());
    EXPECT_TRUE(zoOS::Uuid() == zoOS::Uuid());
    EXPECT_TRUE(zoOS::Uuid() < zoOS::Uuid::generate());
}

}  // namespace
