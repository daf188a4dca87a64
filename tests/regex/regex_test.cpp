// What could break: the classes or the C entry points, narrow or wide, missing for a program that
// links this library and includes its header and nothing else.
#include "KelvoBase/regex.h"

// Taken before the system's macros of these names arrive (with the test framework).
namespace {
const int kExtended = boost::REG_EXTENDED;
const int kNoMatch = boost::REG_NOMATCH;
}  // namespace

#include <gtest/gtest.h>
#include <regex.h>

#include <string>

namespace {

TEST(Regex, ClassesForNarrowAndWideText) {
    boost::smatch parts;
    const std::string file = "shot_0042.tif";
    ASSERT_TRUE(boost::regex_match(file, parts, boost::regex(R"((\w+)_(\d+)\.(\w+))")));
    EXPECT_EQ("0042", parts[2]);
    EXPECT_EQ("shot.tif", boost::regex_replace(file, boost::regex("_\\d+"), ""));
    EXPECT_FALSE(boost::regex_match("shot.tif", boost::regex("shot_.*")));

    boost::wsmatch found;
    const std::wstring wide = L"Gr\u00f6\u00dfe 12";
    ASSERT_TRUE(boost::regex_search(wide, found, boost::wregex(L"\\d+")));
    EXPECT_EQ(L"12", found[0].str());
    EXPECT_THROW(boost::regex("(open"), boost::regex_error);
}

TEST(Regex, EntryPointsForNarrowAndWideText) {
    boost::regex_tA narrow;
    ASSERT_EQ(0, boost::regcompA(&narrow, "(a+)b", kExtended));
    EXPECT_EQ(1u, narrow.re_nsub);
    boost::regmatch_t match[2];
    ASSERT_EQ(0, boost::regexecA(&narrow, "xaab", 2, match, 0));
    EXPECT_EQ(1, match[1].rm_so);
    EXPECT_EQ(3, match[1].rm_eo);
    EXPECT_EQ(kNoMatch, boost::regexecA(&narrow, "xyz", 2, match, 0));
    char text[100] = "";
    EXPECT_LT(1u, boost::regerrorA(kNoMatch, &narrow, text, sizeof text));
    EXPECT_STRNE("", text);
    boost::regfreeA(&narrow);

    boost::regex_tW wide;
    ASSERT_EQ(0, boost::regcompW(&wide, L"[\u00e0-\u00ff]+", kExtended));
    ASSERT_EQ(0, boost::regexecW(&wide, L"cr\u00e8me", 1, match, 0));
    EXPECT_EQ(2, match[0].rm_so);
    wchar_t wide_text[100] = L"";
    EXPECT_LT(1u, boost::regerrorW(kNoMatch, &wide, wide_text, 100));
    boost::regfreeW(&wide);
    EXPECT_NE(0, boost::regcompA(&narrow, "(open", kExtended));
}

// The system's own interface works beside ours, although the names are almost the same.
TEST(Regex, LeavesTheSystemsNamesAlone) {
    ::regex_t expression;
    ASSERT_EQ(0, ::regcomp(&expression, "a(b)", REG_EXTENDED | REG_NOSUB));
    EXPECT_EQ(0, ::regexec(&expression, "xab", 0, nullptr, 0));
    EXPECT_EQ(REG_NOMATCH, ::regexec(&expression, "xba", 0, nullptr, 0));
    ::regfree(&expression);
}

}  // namespace
