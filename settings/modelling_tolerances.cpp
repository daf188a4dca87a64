#include "KelvoBase/modelling_tolerances.h"

namespace {

constexpr double kRadiansPerDegree = 0.017453292519943295;
constexpr double kDegreesPerRadian = 57.29577951308232;
constexpr double kMachineTolerance = 1e-13;
constexpr double kBsplineTolerance = 1e-06;
constexpr double kKnotTolerance = 1e-09;
constexpr double kLargestKnotTolerance = 0.01;
constexpr double kArcLengthTolerance = 0.0001;
constexpr double kParallelityTolerance = 4e-05;
constexpr double kMinimumFitTolerance = 5e-05;

// From this degree on the knot tolerance has reached its largest value.
constexpr int kFirstLargestKnotDegree = 8;

constexpr double kZUp[3] = {0.0, 0.0, 1.0};
constexpr double kYUp[3] = {0.0, 1.0, 0.0};

// The settings as they were stored. Initialised data: right before any constructor runs.
struct Settings {
    double vertexMerge = 0.01;
    double curveFit = 0.01;
    double trimCurveFit = 0.001;
    double cosGap = 0.001;
    double maxContinuityGap = 0.01;
    double topologicalG0 = 0.01;
    double topologicalG1Degrees = 30.0;
    double topologicalG2 = 1.0;
    double continuityAngleDegrees = 0.1;
    double curvature = 0.1;
    double savedCurvature = 0.1;
    double arcStepSize = 0.01;
    int checkpoints = 5;
    int maxSurfaceSpans = 100;
    int checkpointStepType = 2;
};
constinit Settings g_settings;

// A NaN is no smaller than the limit and passes as it is.
double floored(double stored) {
    return stored < kMachineTolerance ? kMinimumFitTolerance : stored;
}

}  // namespace

int va_coordinate_system = 0;
int angular_mode = 0;

int VL_zIsUp(void) {
    return va_coordinate_system == 0;
}
int VL_yIsUp(void) {
    return va_coordinate_system != 0;
}
const double* VL_get_up_vector(void) {
    return va_coordinate_system != 0 ? kYUp : kZUp;
}

double degrees_to_radians(double degrees) {
    return degrees * kRadiansPerDegree;
}
double radians_to_degrees(double radians) {
    return radians * kDegreesPerRadian;
}

double get_machine_tolerance(void) {
    return kMachineTolerance;
}
double get_bspline_tolerance(void) {
    return kBsplineTolerance;
}
double get_knot_tolerance(void) {
    return kKnotTolerance;
}

double get_knot_tolerance_degree(int degree) {
    if (degree >= kFirstLargestKnotDegree) return kLargestKnotTolerance;
    double power = 1.0;
    for (int i = 0; i < degree; ++i) power *= 10.0;
    const double tolerance = power * kKnotTolerance;
    return tolerance < kLargestKnotTolerance ? tolerance : kLargestKnotTolerance;
}

double get_arc_len_tolerance(void) {
    return kArcLengthTolerance;
}
double get_parallelity_tolerance(void) {
    return kParallelityTolerance;
}
double get_crv_fit_minimum_tolerance(void) {
    return kMinimumFitTolerance;
}
double get_trim_crv_fit_minimum_tolerance(void) {
    return kMinimumFitTolerance;
}
double get_minimum_ui_tolerance_for_3Dfit(void) {
    return kMinimumFitTolerance;
}

double get_crv_fit_tolerance(void) {
    return floored(g_settings.curveFit);
}
void set_crv_fit_tolerance(double tolerance) {
    g_settings.curveFit = tolerance;
}
double get_crv_intersect_tolerance(void) {
    return 2.0 * g_settings.curveFit;
}
double get_trim_crv_fit_tolerance(void) {
    return floored(g_settings.trimCurveFit);
}
void set_trim_crv_fit_tolerance(double tolerance) {
    g_settings.trimCurveFit = tolerance;
}
double get_arc_stepsize_tolerance(void) {
    return g_settings.arcStepSize;
}
void set_arc_stepsize_tolerance(double tolerance) {
    g_settings.arcStepSize = tolerance;
}
double get_vertex_merge_tolerance(void) {
    return g_settings.vertexMerge;
}
void set_vertex_merge_tolerance(double tolerance) {
    g_settings.vertexMerge = tolerance;
}

double get_max_continuity_gap(void) {
    return floored(g_settings.maxContinuityGap);
}
void set_max_continuity_gap(double gap) {
    g_settings.maxContinuityGap = gap;
}
double get_point_coincident_tol(void) {
    return floored(g_settings.maxContinuityGap);
}
double get_cos_gap(void) {
    return floored(g_settings.cosGap);
}
void set_cos_gap(double gap) {
    g_settings.cosGap = gap;
}

double get_continuity_angle_tolerance(void) {
    return degrees_to_radians(g_settings.continuityAngleDegrees);
}
void set_continuity_angle_tolerance(double radians) {
    g_settings.continuityAngleDegrees = radians_to_degrees(radians);
}

double get_topological_G0(void) {
    return floored(g_settings.topologicalG0);
}
void set_tol_topological_G0(double tolerance) {
    g_settings.topologicalG0 = tolerance;
}
double get_topological_G1(void) {
    return degrees_to_radians(g_settings.topologicalG1Degrees);
}
void set_tol_topological_G1(double radians) {
    g_settings.topologicalG1Degrees = radians_to_degrees(radians);
}
double get_topological_G2(void) {
    return g_settings.topologicalG2;
}
void set_tol_topological_G2(double tolerance) {
    g_settings.topologicalG2 = tolerance;
}

double get_curvature_tolerance(void) {
    return g_settings.curvature;
}
void set_curvature_tolerance(double tolerance) {
    g_settings.curvature = tolerance;
}

// Callers rely on a single saved value: scaling twice and unscaling once leaves the first scale.
void scale_curvature_tolerance(double factor) {
    g_settings.savedCurvature = g_settings.curvature;
    g_settings.curvature *= factor;
}
void unscale_curvature_tolerance(void) {
    g_settings.curvature = g_settings.savedCurvature;
}

int get_checkpoints(void) {
    return g_settings.checkpoints;
}
void set_checkpoints(int count) {
    g_settings.checkpoints = count;
}
int get_checkpoint_steptype(void) {
    return g_settings.checkpointStepType;
}
void set_checkpoint_steptype(int type) {
    g_settings.checkpointStepType = type;
}
int get_max_surf_spans(void) {
    return g_settings.maxSurfaceSpans;
}
void set_max_surf_spans(int count) {
    g_settings.maxSurfaceSpans = count;
}
