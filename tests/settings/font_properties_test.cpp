// What could break: a limit, a report's text, style bits that replace instead of adding up, the
// order in which fields are compared, and a record that shares something with its copy.
#include "KelvoBase/font_properties.h"

#include "tests/support/report_capture.h"
#include "tests/support/test.h"

using kelvo::test::ReportCapture;

namespace {

struct Setter {
    const char* what;
    void (FontProperties::*set)(int);
    int (FontProperties::*get)() const;
};
const Setter kSize = {"size", &FontProperties::setFontSize, &FontProperties::getFontSize};
const Setter kWeight = {"weight", &FontProperties::setFontWeight, &FontProperties::getFontWeight};
const Setter kStyle = {"style", &FontProperties::setFontStyle, &FontProperties::getFontStyle};
const Setter kPitch = {"pitch", &FontProperties::setFontPitch, &FontProperties::getFontPitch};

const struct Row {
    const Setter& setter;
    int given, stored;
    const char* report;
} kRows[] = {
    {kSize, 1, 1, ""},
    {kSize, 720, 720, ""},
    {kSize, 0, 1, "FontProperties::setFontSize invalid fontsize 0, clamping to allowed range 1\n"},
    {kSize, 721, 720,
     "FontProperties::setFontSize invalid fontsize 721, clamping to allowed range 720\n"},
    {kSize, INT_MIN, 1,
     "FontProperties::setFontSize invalid fontsize -2147483648, clamping to allowed range 1\n"},
    {kWeight, 0, 0, ""},
    {kWeight, 50, 50, ""},
    {kWeight, 100, 100, ""},
    {kWeight, 75, 0,
     "FontProperties::setFontWeight invalid weight given 75, setting to default 0\n"},
    {kStyle, 0, 0, ""},
    {kStyle, 7, 7, ""},
    {kStyle, 8, 0, "FontProperties::setFontStyle invalid style given 8, ignoring\n"},
    {kStyle, -1, 0, "FontProperties::setFontStyle invalid style given -1, ignoring\n"},
    {kPitch, 1, 1, ""},
    {kPitch, 2, 0, "FontProperties::setFontPitch invalid pitch given 2, setting to default 0\n"},
    {kPitch, -1, 0, "FontProperties::setFontPitch invalid pitch given -1, setting to default 0\n"},
};

TEST(FontProperties, SettersClampAndReport) {
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << row.setter.what << ' ' << row.given);
        FontProperties font;
        ReportCapture capture;
        (font.*row.setter.set)(row.given);
        EXPECT_EQ(row.stored, (font.*row.setter.get)());
        EXPECT_EQ(row.report, capture.text());
        for (const auto& report : capture.reports()) {
            EXPECT_EQ(rptKind::kDebug, report.kind);
            EXPECT_EQ(0, report.level);
        }
    }
}

TEST(FontProperties, InvalidValuesReplaceValidOnesExceptStyle) {
    ReportCapture capture;
    FontProperties font("Courier", 12, 100, 2, 1);
    EXPECT_EQ("", capture.text());
    font.setFontWeight(-50);
    font.setFontPitch(7);
    font.setFontStyle(16);
    EXPECT_EQ(0, font.getFontWeight());
    EXPECT_EQ(0, font.getFontPitch());
    EXPECT_EQ(2, font.getFontStyle());
    EXPECT_EQ(3u, capture.reports().size());
}

TEST(FontProperties, StylesAddUp) {
    FontProperties font;
    font.setFontStyle(1);
    font.setFontStyle(4);
    EXPECT_EQ(5, font.getFontStyle());
    font.setFontStyle(0);
    EXPECT_EQ(5, font.getFontStyle());
}

TEST(FontProperties, EmptyFamilyBecomesTheDefault) {
    ReportCapture capture;
    FontProperties font("", 10, 0, 0, 0);
    EXPECT_EQ("", font.getFontFamily());  // the constructor takes any name
    font.setFontFamily("Courier");
    EXPECT_EQ("Courier", font.getFontFamily());
    EXPECT_EQ("", capture.text());
    font.setFontFamily("");
    EXPECT_EQ("Helvetica", font.getFontFamily());
    ASSERT_EQ(1u, capture.reports().size());
    EXPECT_EQ("FontProperties::setFontFamily invalid name given %d, setting to default %d\n",
              capture.reports()[0].format);
    font.setFontFamily(font.getFontFamily());
    EXPECT_EQ("Helvetica", font.getFontFamily());
}

TEST(FontProperties, ConstructorsValidateLikeTheSetters) {
    ReportCapture capture;
    EXPECT_EQ(1, FontProperties(-3).getFontSize());
    EXPECT_EQ("Helvetica", FontProperties(-3).getFontFamily());
    capture.clear();
    FontProperties set;
    set.setFontSize(1000);
    set.setFontWeight(51);
    set.setFontStyle(9);
    set.setFontPitch(2);
    const std::string said = capture.text();
    capture.clear();
    const FontProperties font("Times", 1000, 51, 9, 2);
    EXPECT_EQ(said, capture.text());
    EXPECT_EQ(0, font.compare(set, 15));  // all but the family
    EXPECT_EQ("Times", font.getFontFamily());
}

// Rows are sorted by the field that the mask bit names; each differs from `plain` in one field, and
// in that one it is larger.
TEST(FontProperties, CompareLooksAtTheMaskedFieldsInOrder) {
    const FontProperties plain("M", 10, 0, 0, 0);
    const struct {
        int bit;
        FontProperties larger;
    } kFields[] = {
        {1, {"M", 11, 0, 0, 0}}, {2, {"M", 10, 50, 0, 0}}, {4, {"M", 10, 0, 1, 0}},
        {8, {"M", 10, 0, 0, 1}}, {16, {"Z", 10, 0, 0, 0}},
    };
    for (const auto& field : kFields)
        for (int mask = 0; mask < 64; ++mask) {
            SCOPED_TRACE(testing::Message() << "field " << field.bit << " mask " << mask);
            const int expected = (mask & field.bit) ? 1 : 0;
            EXPECT_EQ(expected, field.larger.compare(plain, mask));
            EXPECT_EQ(-expected, plain.compare(field.larger, mask));
        }
    // Two fields differ, in opposite senses: the earlier one decides.
    const FontProperties fields[] = {{"Z", 1, 0, 0, 1}, {"M", 2, 0, 0, 1}, {"Z", 1, 50, 0, 0}};
    EXPECT_EQ(-1, fields[0].compare(fields[1], 17));
    EXPECT_EQ(1, fields[0].compare(fields[1], 16));
    EXPECT_EQ(-1, fields[0].compare(fields[2], 10));
    EXPECT_EQ(1, fields[0].compare(fields[2], 8));
    EXPECT_EQ(1, FontProperties(720).compare(FontProperties(1), -1));
}

TEST(FontProperties, ScaledEquivalentIgnoresTheSizeAlone) {
    const FontProperties font("M", 10, 50, 3, 1);
    EXPECT_TRUE(font.isScaledEquivalent(FontProperties("M", 700, 50, 3, 1)));
    EXPECT_FALSE(font.isScaledEquivalent(FontProperties("M", 10, 0, 3, 1)));
    EXPECT_FALSE(font.isScaledEquivalent(FontProperties("M", 10, 50, 1, 1)));
    EXPECT_FALSE(font.isScaledEquivalent(FontProperties("M", 10, 50, 3, 0)));
    EXPECT_FALSE(font.isScaledEquivalent(FontProperties("N", 10, 50, 3, 1)));
}

TEST(FontProperties, CopiesAreWholeAndIndependent) {
    FontProperties font("A family name too long for any small string", 20, 50, 3, 1);
    const FontProperties copy(font);
    FontProperties assigned;
    assigned = font;
    EXPECT_EQ(0, copy.compare(font, 31));
    EXPECT_EQ(0, assigned.compare(font, 31));
    font = FontProperties("Courier", 21, 0, 4, 0);
    EXPECT_EQ(0, copy.compare(assigned, 31));
    EXPECT_EQ("A family name too long for any small string", copy.getFontFamily());
    EXPECT_EQ(20, assigned.getFontSize());
}

TEST(FontProperties, PlainFunctions) {
    FontProperties* font = FontProperties_alloc();
    ASSERT_NE(nullptr, font);
    EXPECT_EQ(0, font->compare(FontProperties(), 31));
    const FontProperties other("A family name too long for any small string", 20, 50, 3, 1);
    FontProperties_assign(font, &other);
    EXPECT_EQ(0, font->compare(other, 31));
    FontProperties_assign(font, font);
    EXPECT_EQ(0, font->compare(other, 31));

    ReportCapture capture;
    FontProperties_setFontSize(font, 0);
    EXPECT_EQ(1, FontProperties_getFontSize(font));
    EXPECT_EQ(1u, capture.reports().size());
    EXPECT_EQ(20, other.getFontSize());

    FontProperties_assign(nullptr, &other);
    FontProperties_assign(font, nullptr);
    FontProperties_setFontSize(nullptr, 3);
    EXPECT_EQ(0, FontProperties_getFontSize(nullptr));
    EXPECT_EQ(1, FontProperties_getFontSize(font));
    FontProperties_free(font);
    FontProperties_free(nullptr);
}

}  // namespace
