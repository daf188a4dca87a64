// One least-squares fit of a spline surface with given spans to a cloud.
#pragma once

#include "cloud.h"
#include "spline.h"
#include "workspace.h"

namespace kelvo::fit {

/// How far points are from a surface, in units of the input.
struct Deviation {
    double largest = 0;
    double rms = 0;
    double u = 0, v = 0;  // where the largest is
};

/// How the least-squares problem is solved: by orthogonal triangles, by normal equations, or by those
/// where there are so many points that it pays.
enum class Method { kAuto, kQr, kCholesky };

struct SplineFit {
    SplineSurface surface;
    int rank = 0;         // of the least-squares matrix
    int freeColumns = 0;  // coefficients that the points leave open
    int weakColumns = 0;  // coefficients that fairness had to help, the free ones included
    Deviation deviation;  // at the parameters of the points
    /// Estimated 1 / condition of the normal equations; 0 when the fit was made by QR.
    double normalCondition = 0;
    double noise = 0;  // rms with the degrees of freedom that the fit has used up taken off
};

/// Fits uSpans x vSpans spans. Coefficients that no point supports, or hardly any, are chosen so
/// that the net bends as little as possible there; all others are those of plain least squares as
/// long as there is none of these. The least-squares matrix is kept in `memory`. Normal equations
/// serve only for up to 2,000 coefficients, hardly any of them weak, and where the condition leaves
/// digits enough; otherwise QR does, whatever the method.
SplineFit fitSpline(const Cloud& cloud, int uSpans, int vSpans, Memory memory = Memory::kHeap,
                    Method method = Method::kAuto);

}  // namespace kelvo::fit
