// What could break: conversions between UTF-8 and wide characters, above all of bytes that are no
// UTF-8; comparison of bytes above 127; null pointers.
#include "Base/zo_string.h"

#include <gtest/gtest.h>

#include <sstream>
#include <unordered_set>

using zoString::CString;
using zoString::IString;

namespace {

const struct {
    const char* what;
    const char* utf8;
    std::wstring wide;
} kWellFormed[] = {
    {"nothing", "", L""},
    {"ascii", "Vela", L"Vela"},
    {"two bytes", "\xC2\x80\xDF\xBF", L"\x80\x7FF"},
    {"three bytes", "\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF", L"\x800\xD7FF\xE000\xFFFF"},
    {"four bytes", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", L"\x10000\x10FFFF"},
};

TEST(IString, WellFormedTextGoesThereAndBack) {
    for (const auto& c : kWellFormed) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(c.wide, IString(c.utf8).str());
        EXPECT_EQ(c.utf8, IString(c.wide).toMultibyte().str());
        std::ostringstream out;
        out << IString(c.wide);
        EXPECT_EQ(c.utf8, out.str());
    }
}

TEST(IString, MalformedBytesBecomeReplacementCharacters) {
    const struct {
        const char* what;
        const char* utf8;
        std::wstring wide;
    } cases[] = {
        {"stray continuation", "a\x80z", L"a\xFFFDz"},
        {"never used", "\xC0\xC1\xF5\xFF", L"\xFFFD\xFFFD\xFFFD\xFFFD"},
        {"overlong slash", "\xC0\xAF", L"\xFFFD\xFFFD"},
        {"overlong, three bytes", "\xE0\x9F\x80", L"\xFFFD\xFFFD\xFFFD"},
        {"surrogate", "\xED\xA0\x80", L"\xFFFD\xFFFD\xFFFD"},
        {"beyond the last code point", "\xF4\x90\x80\x80", L"\xFFFD\xFFFD\xFFFD\xFFFD"},
        {"cut short by a letter", "\xE2\x82(", L"\xFFFD("},
        {"cut short by the end", "\xF0\x9F\x98", L"\xFFFD"},
        {"cut short by a character", "\xE2\xC3\xA4", L"\xFFFD\xE4"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(c.wide, IString(c.utf8).str());
    }
}

TEST(IString, ValuesThatAreNoCodePointsBecomeReplacementCharacters) {
    std::wstring wide = L"a";
    for (const long c : {0xD800L, 0xDFFFL, 0x110000L, -1L}) wide += static_cast<wchar_t>(c);
    EXPECT_EQ("a\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD",
              IString(wide).toMultibyte().str());
}

// The same expectations hold for both classes.
template <class String>
class Strings : public testing::Test {};
using Both = testing::Types<CString, IString>;
TYPED_TEST_SUITE(Strings, Both);

TYPED_TEST(Strings, NullIsEmpty) {
    EXPECT_EQ(TypeParam(), TypeParam(static_cast<const char*>(nullptr)));
    EXPECT_TRUE(IString(static_cast<const wchar_t*>(nullptr)).isEmpty());
}

TYPED_TEST(Strings, AreOrderedByCodePoint) {
    const TypeParam ascending[] = {"",  "A",        "Ab",           "B",
                                   "a", "\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9F\x98\x80"};
    const int n = static_cast<int>(std::size(ascending));
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) {
            SCOPED_TRACE(testing::Message() << i << " and " << j);
            const TypeParam &a = ascending[i], &b = ascending[j];
            EXPECT_EQ((i > j) - (i < j), a.compare(b));
            EXPECT_EQ(i == j, a == b);
            EXPECT_EQ(i < j, a < b);
            EXPECT_EQ(i >= j, a >= b);
        }
}

TYPED_TEST(Strings, AreValues) {
    TypeParam text("ab");
    const TypeParam copy = text;
    text += text;
    EXPECT_EQ("abab", text);
    EXPECT_EQ("ab", copy);
    EXPECT_EQ("ababc", text + "c");
    const std::unordered_set<TypeParam> set = {text, copy, "ab"};
    EXPECT_EQ(2u, set.size());
}

}  // namespace
