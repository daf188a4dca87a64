// What could break: the linker drops a library that nothing of ours calls, and with it the entry
// points that applications find by name. This program links neither library.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include "KelvoBase/regex.h"

namespace {

TEST(RegexNames, AreFoundThroughTheLibrary) {
    void* library = dlopen(KELVO_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(nullptr, library) << dlerror();
    for (const char* name : {"regcompA", "regexecA", "regerrorA", "regfreeA", "regcompW",
                             "regexecW", "regerrorW", "regfreeW"})
        EXPECT_NE(nullptr, dlsym(library, name)) << name;

    auto* compile = reinterpret_cast<decltype(&boost::regcompA)>(dlsym(library, "regcompA"));
    auto* execute = reinterpret_cast<decltype(&boost::regexecA)>(dlsym(library, "regexecA"));
    auto* release = reinterpret_cast<decltype(&boost::regfreeA)>(dlsym(library, "regfreeA"));
    ASSERT_TRUE(compile && execute && release);
    boost::regex_tA expression;
    boost::regmatch_t match[1];
    ASSERT_EQ(0, compile(&expression, "bb*", boost::REG_BASIC));
    ASSERT_EQ(0, execute(&expression, "abbc", 1, match, 0));
    EXPECT_EQ(1, match[0].rm_so);
    EXPECT_EQ(3, match[0].rm_eo);
    release(&expression);
    dlclose(library);
}

}  // namespace
