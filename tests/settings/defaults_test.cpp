// What could break: a default. This program never changes a setting, and its tests of the behaviour
// and of the standard sizes run in children that start from this untouched state.
#include "KelvoBase/behaviour.h"
#include "KelvoBase/font_properties.h"
#include "KelvoBase/modelling_tolerances.h"
#include "tests/support/child_process.h"
#include "tests/support/test.h"

using kelvo::test::passesInChild;

namespace {
bool g_outOfMemory = false;  // of the calling child
}

// The library allocates its objects with this one, and the linker prefers ours.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return g_outOfMemory ? nullptr : ::operator new(size);
}

namespace {

TEST(Defaults, Settings) {
    const struct {
        const char* what;
        double (*get)();
        double value;
    } kNumbers[] = {
        {"machine", get_machine_tolerance, 1e-13},
        {"B-spline", get_bspline_tolerance, 1e-06},
        {"knot", get_knot_tolerance, 1e-09},
        {"vertex merge", get_vertex_merge_tolerance, 0.01},
        {"curve fit", get_crv_fit_tolerance, 0.01},
        {"curve intersection", get_crv_intersect_tolerance, 0.02},
        {"trim curve fit", get_trim_crv_fit_tolerance, 0.001},
        {"cosine gap", get_cos_gap, 0.001},
        {"continuity gap", get_max_continuity_gap, 0.01},
        {"point coincidence", get_point_coincident_tol, 0.01},
        {"G0", get_topological_G0, 0.01},
        {"G1", get_topological_G1, 30.0 * 0.017453292519943295},
        {"G2", get_topological_G2, 1.0},
        {"continuity angle", get_continuity_angle_tolerance, 0.1 * 0.017453292519943295},
        {"curvature", get_curvature_tolerance, 0.1},
        {"arc step", get_arc_stepsize_tolerance, 0.01},
        {"arc length", get_arc_len_tolerance, 0.0001},
        {"parallelity", get_parallelity_tolerance, 4e-05},
        {"least curve fit", get_crv_fit_minimum_tolerance, 5e-05},
        {"least trim curve fit", get_trim_crv_fit_minimum_tolerance, 5e-05},
        {"least fit in space", get_minimum_ui_tolerance_for_3Dfit, 5e-05},
    };
    for (const auto& number : kNumbers) EXPECT_EQ(number.value, number.get()) << number.what;
    EXPECT_EQ(5, get_checkpoints());
    EXPECT_EQ(100, get_max_surf_spans());
    EXPECT_EQ(2, get_checkpoint_steptype());
    EXPECT_EQ(0, va_coordinate_system);
    EXPECT_EQ(0, angular_mode);
}

TEST(Defaults, UnscaledCurvatureIsTheDefault) {
    EXPECT_TRUE(passesInChild([] {
        set_curvature_tolerance(7.0);
        unscale_curvature_tolerance();
        EXPECT_EQ(0.1, get_curvature_tolerance());
    }));
}

TEST(Defaults, BehaviourIsTheFullApplication) {
    EXPECT_TRUE(passesInChild([] {
        EXPECT_FALSE(VelaBehaviour_isViewer());
        EXPECT_STREQ("user_options", VelaBehaviour::get()->getUserOptionsFileName());
        VelaBehaviour* first = VelaBehaviour::get();
        EXPECT_EQ(first, VelaBehaviour::get());
        VelaBehaviour::set(nullptr);
    }));
}

TEST(Defaults, StandardFontSizesAreOneList) {
    const int kSizes[] = {8, 9, 10, 11, 12, 14, 16, 18, 20, 22, 24, 26, 28, 36, 48, 72};
    const std::vector<int>& sizes = FontProperties::getStandardFontSizes();
    EXPECT_EQ(std::vector<int>(std::begin(kSizes), std::end(kSizes)), sizes);
    EXPECT_EQ(&sizes, &FontProperties::getStandardFontSizes());
}

// Every plain function still answers when there is no memory for the objects behind it.
TEST(Defaults, OutOfMemoryAnswersZero) {
    EXPECT_TRUE(passesInChild([] {
        g_outOfMemory = true;
        EXPECT_EQ(nullptr, VelaBehaviour::get());
        for (bool (*flag)() : {VelaBehaviour_isViewer, VelaBehaviour_wantSinglePerspWindow,
                               VelaBehaviour_documentSettingsOverrideSessionSettings,
                               VelaBehaviour_largeModelingWindowSize, VelaBehaviour_paintEnabled,
                               VelaBehaviour_enablePaintUI, VelaBehaviour_autoKelvoWindows,
                               VelaBehaviour_enableNukeAllOnRetrieve, VelaBehaviour_saveOnExit})
            EXPECT_FALSE(flag());
        EXPECT_EQ(0.0, VelaBehaviour_modelingWindowScale());
        EXPECT_EQ(nullptr, VelaBehaviour_getUserPrefsFileName());
        EXPECT_EQ(nullptr, VelaBehaviour_getBrowserPrefsFileName());
        EXPECT_EQ(nullptr, VelaBehaviour_getProductIconName());
        EXPECT_EQ(nullptr, FontProperties_alloc());

        g_outOfMemory = false;
        EXPECT_TRUE(VelaBehaviour_saveOnExit());
        VelaBehaviour::set(nullptr);
    }));
}

}  // namespace
