// What could break: the floor (its limit, NaN, a getter that lacks it), two names for one setting
// drifting apart, a setter wired to its neighbour's storage, degrees taken for radians, and the
// single saved curvature.
#include "KelvoBase/modelling_tolerances.h"

#include "tests/support/test.h"

namespace {

struct Setting {
    const char* what;
    double (*get)();
    void (*set)(double);
};
const std::vector<Setting> kFloored = {
    {"curve fit", get_crv_fit_tolerance, set_crv_fit_tolerance},
    {"trim curve fit", get_trim_crv_fit_tolerance, set_trim_crv_fit_tolerance},
    {"cosine gap", get_cos_gap, set_cos_gap},
    {"continuity gap", get_max_continuity_gap, set_max_continuity_gap},
    {"point coincidence", get_point_coincident_tol, set_max_continuity_gap},
    {"G0", get_topological_G0, set_tol_topological_G0},
};
const std::vector<Setting> kPlain = {
    {"vertex merge", get_vertex_merge_tolerance, set_vertex_merge_tolerance},
    {"arc step", get_arc_stepsize_tolerance, set_arc_stepsize_tolerance},
    {"G2", get_topological_G2, set_tol_topological_G2},
    {"curvature", get_curvature_tolerance, set_curvature_tolerance},
};
const std::vector<Setting> kAngles = {
    {"G1", get_topological_G1, set_tol_topological_G1},
    {"continuity angle", get_continuity_angle_tolerance, set_continuity_angle_tolerance},
};
const struct Count {
    const char* what;
    int (*get)();
    void (*set)(int);
} kCounts[] = {
    {"checkpoints", get_checkpoints, set_checkpoints},
    {"step type", get_checkpoint_steptype, set_checkpoint_steptype},
    {"spans", get_max_surf_spans, set_max_surf_spans},
};

// Leaves all settings as they were.
class Tolerances : public testing::Test {
  protected:
    Tolerances() {
        const auto keep = [this](const auto& settings) {
            for (const auto& s : settings)
                restore_.push_back([s, before = s.get()] { s.set(before); });
        };
        keep(kFloored), keep(kPlain), keep(kAngles), keep(kCounts);
    }
    ~Tolerances() override {
        for (const auto& restore : restore_) restore();
        scale_curvature_tolerance(1.0);  // what a scale remembers, too
        va_coordinate_system = angular_mode = 0;
    }

  private:
    std::vector<std::function<void()>> restore_;
};

TEST_F(Tolerances, ValuesBelowMachineToleranceReadAsMinimum) {
    const struct {
        double stored, read;
    } kValues[] = {{0.0, 5e-05},   {-1.0, 5e-05},  {9.9e-14, 5e-05}, {-INFINITY, 5e-05},
                   {1e-13, 1e-13}, {1e-10, 1e-10}, {0.2, 0.2},       {INFINITY, INFINITY}};
    for (const Setting& setting : kFloored) {
        for (const auto& value : kValues) {
            SCOPED_TRACE(testing::Message() << setting.what << " stored " << value.stored);
            setting.set(value.stored);
            EXPECT_EQ(value.read, setting.get());
        }
        setting.set(std::numeric_limits<double>::quiet_NaN());
        EXPECT_TRUE(std::isnan(setting.get())) << setting.what;
    }
}

TEST_F(Tolerances, OtherSettingsReadBackAsStored) {
    for (const Setting& setting : kPlain)
        for (double value : {0.0, -3.5, 1e-14, 7.25}) {
            setting.set(value);
            EXPECT_EQ(value, setting.get()) << setting.what;
        }
    for (const auto& count : kCounts)
        for (int value : {0, -7, INT_MAX, INT_MIN}) {
            count.set(value);
            EXPECT_EQ(value, count.get()) << count.what;
        }
}

// Every setting gets its own value first and is read afterwards, so that shared storage shows.
TEST_F(Tolerances, SettingsAreIndependent) {
    double next = 1.0;
    for (const Setting& setting : kFloored) setting.set(next++);
    for (const Setting& setting : kPlain) setting.set(next++);
    for (const Setting& setting : kAngles) setting.set(next++);
    for (const auto& count : kCounts) count.set(static_cast<int>(next++));

    next = 1.0;
    for (const Setting& setting : kFloored) {
        // The continuity gap has a second name, which was set last.
        const bool shared = setting.set == set_max_continuity_gap;
        EXPECT_EQ(shared ? 5.0 : next, setting.get()) << setting.what;
        ++next;
    }
    for (const Setting& setting : kPlain) EXPECT_EQ(next++, setting.get()) << setting.what;
    for (const Setting& setting : kAngles) EXPECT_NEAR(next++, setting.get(), 1e-13);
    for (const auto& count : kCounts) EXPECT_EQ(next++, count.get()) << count.what;
}

TEST_F(Tolerances, IntersectionIsTwiceTheFitWithoutFloor) {
    for (double value : {0.0, -1.0, 1e-14, 0.03}) {
        set_crv_fit_tolerance(value);
        EXPECT_EQ(2.0 * value, get_crv_intersect_tolerance());
    }
}

TEST_F(Tolerances, AnglesAreKeptInDegrees) {
    for (const Setting& angle : kAngles)
        for (double radians : {0.0, 0.17, -2.0, 100.0}) {
            angle.set(radians);
            // Bit for bit: the same two factors, in this order.
            EXPECT_EQ(radians * 57.29577951308232 * 0.017453292519943295, angle.get())
                << angle.what;
        }
    set_tol_topological_G1(degrees_to_radians(10.0));
    EXPECT_NEAR(10.0, radians_to_degrees(get_topological_G1()), 1e-14);
    EXPECT_EQ(0.017453292519943295, degrees_to_radians(1.0));
    EXPECT_EQ(57.29577951308232, radians_to_degrees(1.0));
}

TEST_F(Tolerances, KnotToleranceGrowsWithTheDegreeUpToALimit) {
    const struct {
        int degree;
        double tolerance;
    } kRows[] = {{INT_MIN, 1e-09}, {-2, 1e-09}, {0, 1e-09}, {1, 1e-08}, {3, 1e-06}, {5, 1e-04},
                 {6, 1e-03},       {7, 0.01},   {8, 0.01},  {9, 0.01},  {40, 0.01}};
    for (const auto& row : kRows)
        EXPECT_NEAR(row.tolerance, get_knot_tolerance_degree(row.degree), 1e-15 * row.tolerance)
            << row.degree;
    EXPECT_LE(get_knot_tolerance_degree(7), 0.01);
    EXPECT_EQ(0.01, get_knot_tolerance_degree(INT_MAX));  // at once, not after 2^31 steps
}

TEST_F(Tolerances, OneCurvatureIsSaved) {
    scale_curvature_tolerance(2.0);
    scale_curvature_tolerance(3.0);
    EXPECT_DOUBLE_EQ(0.6, get_curvature_tolerance());
    unscale_curvature_tolerance();
    EXPECT_EQ(0.2, get_curvature_tolerance());
    unscale_curvature_tolerance();
    EXPECT_EQ(0.2, get_curvature_tolerance());

    set_curvature_tolerance(5.0);  // leaves the saved value
    unscale_curvature_tolerance();
    EXPECT_EQ(0.2, get_curvature_tolerance());
}

TEST_F(Tolerances, AnyNonZeroCoordinateSystemIsYUp) {
    for (int system : {0, 1, 5, -1}) {
        va_coordinate_system = system;
        const bool z = system == 0;
        EXPECT_EQ(z ? 1 : 0, VL_zIsUp()) << system;
        EXPECT_EQ(z ? 0 : 1, VL_yIsUp()) << system;
        const double* up = VL_get_up_vector();
        EXPECT_EQ(0.0, up[0]);
        EXPECT_EQ(z ? 0.0 : 1.0, up[1]);
        EXPECT_EQ(z ? 1.0 : 0.0, up[2]);
    }
    angular_mode = 3;  // only held
    va_coordinate_system = 0;
    EXPECT_EQ(3, angular_mode);
    EXPECT_EQ(1, VL_zIsUp());
}

}  // namespace
