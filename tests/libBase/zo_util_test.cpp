// What could break: long messages cut, success mistaken for an error.
#include "Base/zo_util.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(Error, CodeZeroIsSuccess) {
    for (const zoUtil::Error& none : {zoUtil::Error(), zoUtil::Error(0, "done")}) {
        EXPECT_FALSE(none);
        EXPECT_FALSE(none.isError());
        EXPECT_EQ(0, none.code());
    }
    const zoUtil::Error error(-7, "no %s in \"%s\"", "file", "C:\\Temp");
    EXPECT_TRUE(error);
    EXPECT_EQ(-7, error.code());
    EXPECT_EQ("no file in \"C:\\Temp\"", error.message());
}

TEST(Error, MessageHasAnyLength) {
    for (const std::size_t length : {0u, 1u, 1023u, 1024u, 100000u}) {
        const std::string text(length, 'x');
        EXPECT_EQ("<" + text + ">", zoUtil::Error(1, "<%s>", text.c_str()).message().str());
    }
    const char* none = nullptr;
    EXPECT_TRUE(zoUtil::Error(1, none).message().isEmpty());
}

}  // namespace
