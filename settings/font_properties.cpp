#include "KelvoBase/font_properties.h"

#include <algorithm>
#include <cstdint>
#include <new>

#include "Base/rpt.h"

namespace {

constexpr int kSmallestSize = 1;
constexpr int kLargestSize = 720;
constexpr int kDefaultSize = 10;
constexpr int kDefaultWeight = 0;
constexpr int kDefaultStyle = 0;
constexpr int kDefaultPitch = 0;
constexpr int kAllStyles = 7;
constexpr char kDefaultFamily[] = "Helvetica";

constexpr int kStandardSizes[] = {8, 9, 10, 11, 12, 14, 16, 18, 20, 22, 24, 26, 28, 36, 48, 72};

enum FieldMask { kSize = 1, kWeight = 2, kStyle = 4, kPitch = 8, kFamily = 16 };
constexpr int kAllButSize = 254;

int order(int a, int b) {
    return (a > b) - (a < b);
}

// The report's text prints names with %d; callers rely on the text, so a name goes in as a number
// that tells two of them apart.
int nameNumber(const char* name) {
    return static_cast<int>(reinterpret_cast<std::intptr_t>(name));
}

}  // namespace

const std::vector<int>* FontProperties::k_stdFontSizes = nullptr;

FontProperties::FontProperties() {
    setDefaultProperties();
}

FontProperties::FontProperties(int size) : FontProperties() {
    setFontSize(size);
}

FontProperties::FontProperties(const zoString::CString& family, int size, int weight, int style,
                               int pitch)
    : FontProperties() {
    setFontSize(size);
    setFontWeight(weight);
    setFontStyle(style);
    setFontPitch(pitch);
    family_ = family;
}

FontProperties::FontProperties(const FontProperties& other)
    : size_(other.size_),
      style_(other.style_),
      weight_(other.weight_),
      pitch_(other.pitch_),
      family_(other.family_) {}

FontProperties& FontProperties::operator=(const FontProperties& other) {
    family_ = other.family_;
    size_ = other.size_;
    style_ = other.style_;
    weight_ = other.weight_;
    pitch_ = other.pitch_;
    return *this;
}

FontProperties::~FontProperties() = default;

int FontProperties::getFontSize() const {
    return size_;
}
int FontProperties::getFontWeight() const {
    return weight_;
}
int FontProperties::getFontStyle() const {
    return style_;
}
int FontProperties::getFontPitch() const {
    return pitch_;
}
const zoString::CString& FontProperties::getFontFamily() const {
    return family_;
}

int FontProperties::compare(const FontProperties& other, int mask) const {
    int result = 0;
    if (mask & kSize) result = order(size_, other.size_);
    if (result == 0 && (mask & kWeight)) result = order(weight_, other.weight_);
    if (result == 0 && (mask & kStyle)) result = order(style_, other.style_);
    if (result == 0 && (mask & kPitch)) result = order(pitch_, other.pitch_);
    if (result == 0 && (mask & kFamily)) result = order(family_.compare(other.family_), 0);
    return result;
}

bool FontProperties::isScaledEquivalent(const FontProperties& other) const {
    return compare(other, kAllButSize) == 0;
}

void FontProperties::setFontSize(int size) {
    size_ = clampToValidFontSize(size);
    if (isValidFontSize(size)) return;
    rptDebug(0, "FontProperties::setFontSize invalid fontsize %d, clamping to allowed range %d\n",
             size, size_);
}

void FontProperties::setFontWeight(int weight) {
    weight_ = isValidFontWeight(weight) ? weight : kDefaultWeight;
    if (isValidFontWeight(weight)) return;
    rptDebug(0, "FontProperties::setFontWeight invalid weight given %d, setting to default %d\n",
             weight, kDefaultWeight);
}

void FontProperties::setFontStyle(int style) {
    if (isValidFontStyle(style)) {
        style_ |= style;  // callers rely on styles adding up
        return;
    }
    rptDebug(0, "FontProperties::setFontStyle invalid style given %d, ignoring\n", style);
}

void FontProperties::setFontPitch(int pitch) {
    pitch_ = isValidFontPitch(pitch) ? pitch : kDefaultPitch;
    if (isValidFontPitch(pitch)) return;
    rptDebug(0, "FontProperties::setFontPitch invalid pitch given %d, setting to default %d\n",
             pitch, kDefaultPitch);
}

void FontProperties::setFontFamily(const zoString::CString& family) {
    if (isValidFontFamily(family)) {
        family_ = family;
        return;
    }
    rptDebug(0, "FontProperties::setFontFamily invalid name given %d, setting to default %d\n",
             nameNumber(family.c_str()), nameNumber(kDefaultFamily));
    family_ = kDefaultFamily;
}

bool FontProperties::isValidFontSize(int size) {
    return size >= kSmallestSize && size <= kLargestSize;
}
bool FontProperties::isValidFontWeight(int weight) {
    return weight == 0 || weight == 50 || weight == 100;
}
bool FontProperties::isValidFontStyle(int style) {
    return (style & ~kAllStyles) == 0;
}
bool FontProperties::isValidFontPitch(int pitch) {
    return pitch == 0 || pitch == 1;
}
bool FontProperties::isValidFontFamily(const zoString::CString& family) {
    return !family.isEmpty();
}

const std::vector<int>& FontProperties::getStandardFontSizes() {
    if (!k_stdFontSizes)
        k_stdFontSizes = new std::vector<int>(std::begin(kStandardSizes), std::end(kStandardSizes));
    return *k_stdFontSizes;
}

int FontProperties::clampToValidFontSize(int size) {
    return std::clamp(size, kSmallestSize, kLargestSize);
}

void FontProperties::setDefaultProperties() {
    size_ = kDefaultSize;
    style_ = kDefaultStyle;
    weight_ = kDefaultWeight;
    pitch_ = kDefaultPitch;
    family_ = kDefaultFamily;
}

FontProperties* FontProperties_alloc(void) {
    return new (std::nothrow) FontProperties;
}
void FontProperties_free(FontProperties* font) {
    delete font;
}
void FontProperties_assign(FontProperties* to, const FontProperties* from) {
    if (to && from) *to = *from;
}
int FontProperties_getFontSize(const FontProperties* font) {
    return font ? font->getFontSize() : 0;
}
void FontProperties_setFontSize(FontProperties* font, int size) {
    if (font) font->setFontSize(size);
}
