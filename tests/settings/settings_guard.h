// Brings all modelling settings back at the end of a test.
#pragma once

#include "KelvoBase/modelling_tolerances.h"

namespace kelvo::test {

/// Stores the defaults when it goes out of scope. Which they are is checked in a process that never
/// changed one.
class SettingsGuard {
  public:
    SettingsGuard() = default;
    SettingsGuard(const SettingsGuard&) = delete;
    SettingsGuard& operator=(const SettingsGuard&) = delete;
    ~SettingsGuard() {
        set_vertex_merge_tolerance(0.01);
        set_crv_fit_tolerance(0.01);
        set_trim_crv_fit_tolerance(0.001);
        set_cos_gap(0.001);
        set_max_continuity_gap(0.01);
        set_tol_topological_G0(0.01);
        set_tol_topological_G1(degrees_to_radians(30.0));
        set_tol_topological_G2(1.0);
        set_continuity_angle_tolerance(degrees_to_radians(0.1));
        set_curvature_tolerance(0.1);
        scale_curvature_tolerance(1.0);  // what a scale remembers, too
        set_arc_stepsize_tolerance(0.01);
        set_checkpoints(5);
        set_max_surf_spans(100);
        set_checkpoint_steptype(2);
        va_coordinate_system = 0;
        angular_mode = 0;
    }
};

}  // namespace kelvo::test
