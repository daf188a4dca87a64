// Modelling settings: the process-wide numbers that modelling code consults.
//   1. Lengths are in working units, angles in radians at this interface. Defaults hold from load.
//   2. Setters store what they get: nothing is checked, rounded or reported.
//   3. A "floored" getter reads any setting below the machine tolerance (1e-13; zero and negative
//      values too) as 5e-05, the smallest useful fit tolerance. Everything else reads back as set,
//      a NaN included.
//   4. Nothing is saved to a file. Main thread only: there are no locks.
#pragma once

#include "KelvoBase/kelvo_api.h"

extern "C" {

// --- World axes and angles -----------------------------------------------------------------------

/// Up axis of the world, written by the application: 0 (the default) is Z up, all else Y up.
KELVO_API extern int va_coordinate_system;
/// Angle unit of the application. Kept for the application, 0 at load, never read by the library.
KELVO_API extern int angular_mode;

/// 1 when Z is up, else 0.
KELVO_API int VL_zIsUp(void);
/// 1 when Y is up, else 0.
KELVO_API int VL_yIsUp(void);
/// The unit up vector as three doubles: (0, 0, 1) or (0, 1, 0). Never null. It belongs to the
/// library and is read-only; fetch it again after the up axis has changed.
KELVO_API const double* VL_get_up_vector(void);

/// x * 0.017453292519943295.
KELVO_API double degrees_to_radians(double degrees);
/// x * 57.29577951308232.
KELVO_API double radians_to_degrees(double radians);

// --- Constants -----------------------------------------------------------------------------------

/// 1e-13: what counts as zero for the floored getters.
KELVO_API double get_machine_tolerance(void);
/// 1e-06.
KELVO_API double get_bspline_tolerance(void);
/// 1e-09: knots closer than this are one knot.
KELVO_API double get_knot_tolerance(void);
/// The knot tolerance for curves of this degree: 1e-09 * 10^degree, at most 0.01. A negative degree
/// counts as 0.
KELVO_API double get_knot_tolerance_degree(int degree);
/// 0.0001.
KELVO_API double get_arc_len_tolerance(void);
/// 4e-05.
KELVO_API double get_parallelity_tolerance(void);
/// 5e-05: smallest curve fit tolerance that a user interface should offer.
KELVO_API double get_crv_fit_minimum_tolerance(void);
/// 5e-05: the same for trim curves.
KELVO_API double get_trim_crv_fit_minimum_tolerance(void);
/// 5e-05: smallest tolerance for fits in space that a user interface should offer.
KELVO_API double get_minimum_ui_tolerance_for_3Dfit(void);

// --- Fitting -------------------------------------------------------------------------------------

/// Largest deviation of a fitted curve. Default 0.01, floored.
KELVO_API double get_crv_fit_tolerance(void);
KELVO_API void set_crv_fit_tolerance(double tolerance);
/// Twice the curve fit tolerance as it was set: without the floor, so 0 stays 0.
KELVO_API double get_crv_intersect_tolerance(void);
/// Largest deviation of a fitted trim curve. Default 0.001, floored.
KELVO_API double get_trim_crv_fit_tolerance(void);
KELVO_API void set_trim_crv_fit_tolerance(double tolerance);
/// Step along an arc. Default 0.01.
KELVO_API double get_arc_stepsize_tolerance(void);
KELVO_API void set_arc_stepsize_tolerance(double tolerance);
/// Vertices closer than this may be merged. Default 0.01.
KELVO_API double get_vertex_merge_tolerance(void);
KELVO_API void set_vertex_merge_tolerance(double tolerance);

// --- Continuity ----------------------------------------------------------------------------------

/// Largest gap, in position, that still counts as continuous. Default 0.01, floored.
KELVO_API double get_max_continuity_gap(void);
KELVO_API void set_max_continuity_gap(double gap);
/// Points closer than this coincide: the maximum continuity gap under its second name, floored.
KELVO_API double get_point_coincident_tol(void);
/// Gap allowed in the cosine of an angle. Default 0.001, floored.
KELVO_API double get_cos_gap(void);
KELVO_API void set_cos_gap(double gap);
/// Tangent angle, in radians, that still counts as continuous. Default 0.1 degree. Kept in degrees,
/// so a value reads back up to rounding.
KELVO_API double get_continuity_angle_tolerance(void);
KELVO_API void set_continuity_angle_tolerance(double radians);
/// Positional tolerance between neighbours. Default 0.01, floored.
KELVO_API double get_topological_G0(void);
KELVO_API void set_tol_topological_G0(double tolerance);
/// Tangent angle between neighbours, in radians. Default 30 degrees; kept in degrees as above.
KELVO_API double get_topological_G1(void);
KELVO_API void set_tol_topological_G1(double radians);
/// Curvature tolerance between neighbours. Default 1.0.
KELVO_API double get_topological_G2(void);
KELVO_API void set_tol_topological_G2(double tolerance);

// --- Curvature -----------------------------------------------------------------------------------

/// Relative curvature difference that counts as continuous. Default 0.1.
KELVO_API double get_curvature_tolerance(void);
/// Sets it. What unscale_curvature_tolerance brings back stays as it was.
KELVO_API void set_curvature_tolerance(double tolerance);
/// Remembers the curvature tolerance and then multiplies it by `factor`. One value is remembered:
/// a second call overwrites the first, so these calls do not nest.
KELVO_API void scale_curvature_tolerance(double factor);
/// Brings back the remembered value (0.1 when nothing was ever scaled).
KELVO_API void unscale_curvature_tolerance(void);

// --- Checkpoints and spans -----------------------------------------------------------------------

/// Number of checkpoints, for the modelling code to use. Default 5.
KELVO_API int get_checkpoints(void);
KELVO_API void set_checkpoints(int count);
/// How to step between checkpoints; the values belong to the modelling code. Default 2.
KELVO_API int get_checkpoint_steptype(void);
KELVO_API void set_checkpoint_steptype(int type);
/// Most spans that a surface may get. Default 100.
KELVO_API int get_max_surf_spans(void);
KELVO_API void set_max_surf_spans(int count);

}  // extern "C"
