#include "placement.h"

#include <KelvoBase/modelling_tolerances.h>
#include <KelvoBase/transforms.h>

namespace kelvo::fit {
namespace {

TunitQuaternion turnAbout(const Vec3& axis, double degrees) {
    TunitQuaternion q;
    return q.setToPivotAxis(degrees_to_radians(degrees), {axis.x, axis.y, axis.z});
}

Vec3 placedPoint(const Vec3& p, const T4dDblMatrix& matrix) {
    const T3dDblPoint q = T3dDblPoint(p.x, p.y, p.z) * matrix;
    return {q.x, q.y, q.z};
}

Vec3 placedDirection(const Vec3& d, const T4dDblMatrix& matrix) {
    const T4dDblVector q = T4dDblVector(d.x, d.y, d.z) * matrix;
    return unit({q.x, q.y, q.z});
}

SplineSurface placedSurface(const SplineSurface& surface, const T4dDblMatrix& matrix) {
    SplineSurface placed(surface.u().spans(), surface.v().spans());
    for (int i = 0; i < surface.u().size(); ++i)
        for (int j = 0; j < surface.v().size(); ++j)
            placed.setControl(i, j, placedPoint(surface.control(i, j), matrix));
    return placed;
}

}  // namespace

T4dDblMatrix matrixOf(const Placement& placement) {
    const Vec3 &pivot = placement.pivot, &move = placement.move;
    TxformMatrix transform;
    transform.setScalePivotPoint({pivot.x, pivot.y, pivot.z, 1});
    transform.setRotatePivotPoint({pivot.x, pivot.y, pivot.z, 1});
    // The move comes first: later it would count as one of the turned and scaled space.
    transform = T4dDblVector(move.x, move.y, move.z);
    transform = turnAbout({0, 0, 1}, placement.rotate.z) *
                turnAbout({0, 1, 0}, placement.rotate.y) * turnAbout({1, 0, 0}, placement.rotate.x);
    Tscale scale;
    transform = scale.set(placement.scale);
    return transform.inverse().inverse();
}

FitResult placedCopy(const FitResult& result, const Placement& placement) {
    FitResult placed = result;
    if (placement.isNone()) return placed;
    const T4dDblMatrix matrix = matrixOf(placement);
    placed.scale = placement.scale;
    for (SplineSurface& surface : placed.surfaces) surface = placedSurface(surface, matrix);
    for (MeasuredPoint& p : placed.points) p.at = placedPoint(p.at, matrix);
    if (placed.scattered) {
        Frame& frame = placed.scattered->cloud.frame;
        for (Vec3* axis : {&frame.uAxis, &frame.vAxis, &frame.normal})
            *axis = placedDirection(*axis, matrix);
        frame.origin = placedPoint(frame.origin, matrix);
    }
    return placed;
}

}  // namespace kelvo::fit
