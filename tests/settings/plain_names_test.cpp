// What could break: a plain name that lost its C linkage or its export. Applications look these up
// at run time, where no linker helps.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace {

const char kNames[] =
    "va_coordinate_system angular_mode VL_zIsUp VL_yIsUp VL_get_up_vector degrees_to_radians "
    "radians_to_degrees get_machine_tolerance get_bspline_tolerance get_knot_tolerance "
    "get_knot_tolerance_degree get_vertex_merge_tolerance set_vertex_merge_tolerance "
    "get_crv_fit_tolerance get_crv_intersect_tolerance set_crv_fit_tolerance "
    "get_trim_crv_fit_tolerance set_trim_crv_fit_tolerance get_cos_gap set_cos_gap "
    "get_max_continuity_gap get_point_coincident_tol set_max_continuity_gap "
    "get_topological_G0 set_tol_topological_G0 get_topological_G1 set_tol_topological_G1 "
    "get_topological_G2 set_tol_topological_G2 get_continuity_angle_tolerance "
    "set_continuity_angle_tolerance get_curvature_tolerance set_curvature_tolerance "
    "scale_curvature_tolerance unscale_curvature_tolerance get_arc_stepsize_tolerance "
    "set_arc_stepsize_tolerance get_checkpoints set_checkpoints get_max_surf_spans "
    "set_max_surf_spans get_checkpoint_steptype set_checkpoint_steptype get_arc_len_tolerance "
    "get_parallelity_tolerance get_crv_fit_minimum_tolerance "
    "get_trim_crv_fit_minimum_tolerance get_minimum_ui_tolerance_for_3Dfit "
    "VelaBehaviour_wantSinglePerspWindow VelaBehaviour_largeModelingWindowSize "
    "VelaBehaviour_autoKelvoWindows VelaBehaviour_modelingWindowScale VelaBehaviour_isViewer "
    "VelaBehaviour_paintEnabled VelaBehaviour_enablePaintUI "
    "VelaBehaviour_enableNukeAllOnRetrieve "
    "VelaBehaviour_documentSettingsOverrideSessionSettings "
    "VelaBehaviour_getBrowserPrefsFileName VelaBehaviour_getUserPrefsFileName "
    "VelaBehaviour_saveOnExit VelaBehaviour_getProductIconName FontProperties_alloc "
    "FontProperties_free FontProperties_assign FontProperties_getFontSize "
    "FontProperties_setFontSize ";

class PlainNames : public testing::Test {
  protected:
    void SetUp() override {
        library_ = dlopen(KELVO_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(nullptr, library_) << dlerror();
    }
    void TearDown() override { dlclose(library_); }

    template <class Type>
    Type* find(const char* name) {
        return reinterpret_cast<Type*>(dlsym(library_, name));
    }

    void* library_ = nullptr;
};

TEST_F(PlainNames, AreExportedByTheLibraryItself) {
    std::istringstream names(kNames);
    int count = 0;
    for (std::string name; names >> name; ++count) {
        Dl_info where = {};
        void* address = find<void>(name.c_str());
        ASSERT_NE(nullptr, address) << name;
        ASSERT_NE(0, dladdr(address, &where)) << name;
        EXPECT_NE(std::string::npos, std::string(where.dli_fname).find("libKelvoBase.so")) << name;
    }
    EXPECT_EQ(66, count);
}

// An application that writes the public data by name steers the functions.
TEST_F(PlainNames, DataIsLive) {
    int* axis = find<int>("va_coordinate_system");
    auto* up = find<const double*()>("VL_get_up_vector");
    *axis = 5;
    EXPECT_EQ(1.0, up()[1]);
    *axis = 0;
    EXPECT_EQ(1.0, up()[2]);
    EXPECT_EQ(0, *find<int>("angular_mode"));
}

}  // namespace
