// Font requests: family, size, weight, style and pitch as one small value.
//   1. Nothing fails. An invalid value is clamped, replaced by the default or ignored, and a debug
//      report of level 0 (rptDebug) says so.
//   2. Sizes are in points, 1 to 720. Weights are 0, 50 or 100. Styles are a set of the bits 1, 2
//      and 4. Pitch is 0 or 1. A family is any name that is not empty.
//   3. Defaults: "Helvetica", size 10, everything else 0.
#pragma once

#include <vector>

#include "Base/zo_string.h"
#include "KelvoBase/kelvo_api.h"

/// What is asked of a font; a value, freely copied.
class KELVO_API FontProperties {
  public:
    // --- Create ---
    /// All defaults.
    FontProperties();
    /// Defaults with this size, as setFontSize takes it.
    explicit FontProperties(int size);
    /// Every value as its setter takes it, with the setter's reports; only the family is stored
    /// unchecked, an empty name included.
    FontProperties(const zoString::CString& family, int size, int weight, int style, int pitch);
    FontProperties(const FontProperties& other);
    FontProperties& operator=(const FontProperties& other);
    ~FontProperties();

    // --- Query ---
    int getFontSize() const;
    int getFontWeight() const;
    int getFontStyle() const;
    int getFontPitch() const;
    /// Valid until this object is changed or destroyed.
    const zoString::CString& getFontFamily() const;

    /// Compares the fields that `mask` selects, in this order: 1 size, 2 weight, 4 style, 8 pitch,
    /// 16 family. The first difference decides: -1 when this object comes first, 1 when `other`
    /// does. 0 when all selected fields are equal, or none is selected.
    int compare(const FontProperties& other, int mask) const;
    /// Whether both are equal in everything but size.
    bool isScaledEquivalent(const FontProperties& other) const;

    // --- Change ---
    /// Below 1 stores 1, above 720 stores 720, both with a report.
    void setFontSize(int size);
    /// An invalid weight stores 0, with a report.
    void setFontWeight(int weight);
    /// Adds these bits to the style; none is ever cleared (build a new object for that). A value
    /// with other bits is ignored, with a report.
    void setFontStyle(int style);
    /// An invalid pitch stores 0, with a report.
    void setFontPitch(int pitch);
    /// An empty name stores "Helvetica", with a report.
    void setFontFamily(const zoString::CString& family);

    // --- Validity ---
    static bool isValidFontSize(int size);
    static bool isValidFontWeight(int weight);
    static bool isValidFontStyle(int style);
    static bool isValidFontPitch(int pitch);
    static bool isValidFontFamily(const zoString::CString& family);

    /// The 16 sizes, ascending from 8 to 72, that a size menu offers: the same list on every call,
    /// for the life of the process. The first call builds it without a lock.
    static const std::vector<int>& getStandardFontSizes();

  private:
    static int clampToValidFontSize(int size);
    void setDefaultProperties();

    static const std::vector<int>* k_stdFontSizes;  // owned; null until asked for, never freed

    // The application's: neither copied nor assigned, and nothing here reads them.
    [[maybe_unused]] void* reserved_[2] = {nullptr, nullptr};
    int size_;   // points
    int style_;  // bits 1, 2, 4
    int weight_;
    int pitch_;
    zoString::CString family_;
};

// The same for code that does not know the class. A null record is ignored.
extern "C" {

/// A new record with the defaults, for FontProperties_free. Null when memory runs out.
KELVO_API FontProperties* FontProperties_alloc(void);
/// Destroys a record from FontProperties_alloc; null is fine.
KELVO_API void FontProperties_free(FontProperties* font);
/// Copies `from` into `to`.
KELVO_API void FontProperties_assign(FontProperties* to, const FontProperties* from);
/// The size in points; 0 for a null record.
KELVO_API int FontProperties_getFontSize(const FontProperties* font);
/// See FontProperties::setFontSize.
KELVO_API void FontProperties_setFontSize(FontProperties* font, int size);

}  // extern "C"
