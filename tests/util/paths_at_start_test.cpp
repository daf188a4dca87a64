// What could break: paths that are asked for before there is a project, and without memory. A program
// of its own, since the state of the others has begun.
#include <gtest/gtest.h>

#include "Base/ma.h"
#include "KelvoBase/db_filename.h"
#include "tests/support/child_process.h"

namespace {

using kelvo::test::passesInChild;

TEST(Paths, AreBuiltAtTheFirstNeed) {
    EXPECT_TRUE(passesInChild([] {
        EXPECT_EQ(nullptr, Db_get_paths());
        EXPECT_STREQ("", Db_get_project_path());
        EXPECT_STREQ("", Db_get_project_name());
        EXPECT_STREQ("", Db_get_vl_cwd());
        const DbPathEntry* const pix = Db_default_path(PIX_DATA);
        ASSERT_NE(nullptr, pix);
        EXPECT_STREQ("C:\\pix\\", pix->path);
        EXPECT_EQ(pix, Db_get_paths() + 1);
        Db_set_project_path("D:\\");
        EXPECT_STREQ("C:\\pix\\", Db_default_path(PIX_DATA)->path);
        const long blocks = MA_liveBlocks();
        Db_init_paths();
        EXPECT_STREQ("D:\\\\pix\\", Db_default_path(PIX_DATA)->path);
        EXPECT_EQ(blocks, MA_liveBlocks());
    }));
}

TEST(Paths, AreUsableAsFarAsMemoryWent) {
    EXPECT_TRUE(passesInChild([] {
        MA_failAfter(0);
        EXPECT_EQ(nullptr, Db_default_path(PIX_DATA));
        char out[16];
        EXPECT_STREQ("a", expand_filename(out, "a", PIX_DATA));
        MA_failAfter(-1);
        Db_init_paths();
        for (long paths = 0; paths <= 42; ++paths) {
            MA_failAfter(paths);
            Db_init_paths();
            EXPECT_EQ(paths >= 1, Db_default_path(ANIM_DATA) != nullptr);
            EXPECT_EQ(paths == 42, Db_default_path(46) != nullptr);
        }
    }));
}

}  // namespace
