#include "linalg/kernels/bidiagonal_svd.h"

#include <algorithm>

#include "linalg/kernels/vector_ops.h"

namespace kelvo::kernels {
namespace {

// QR steps for one singular value of m. The published 30 are too few where the values decay down to
// rounding noise: beside the first entry of the block the shift is then lost, each step shrinks e[l]
// by (s[l + 1] / s[l])^2 only, and about 0.8 m steps pass until the block falls apart.
int maxQrSteps(int m) {
    return 30 + 2 * m;
}

// The iteration under way. `last` below is the index of the value that is being isolated.
struct Iteration {
    double *s, *e;
    Rotated left, right;
};

double* column(const Rotated& r, int j) {
    return r.a + j * r.lda;
}

bool has(const Rotated& r, int i, int j) {
    return r.a && std::max(i, j) < r.columns;
}

struct Rotation {
    double c, s;
};

// The rotation that takes (a, b) to (r, 0); a becomes r. Sine and cosine come from scaled numbers,
// so that they stay a rotation where a and b have few digits left.
Rotation makeRotation(double& a, double b) {
    const double size = std::fabs(a) + std::fabs(b);
    if (size == 0.0) return {1.0, 0.0};
    const double dominant = std::fabs(a) > std::fabs(b) ? a : b;
    const double as = a / size, bs = b / size;
    const double norm = std::copysign(std::sqrt(as * as + bs * bs), dominant);
    a = size * norm;
    return {as / norm, bs / norm};
}

void rotate(const Rotated& r, int i, int j, const Rotation& g) {
    if (has(r, i, j)) rot(r.rows, column(r, i), column(r, j), g.c, g.s);
}

void swapColumns(const Rotated& r, int i, int j) {
    if (has(r, i, j)) swap(r.rows, column(r, i), column(r, j));
}

// True when x adds nothing to `scale`. What lies below DBL_MIN is noise beside the largest entry,
// and has too few digits for steps to converge.
bool isNegligible(double x, double scale) {
    return scale + std::fabs(x) == scale || std::fabs(x) < DBL_MIN;
}

// The start of the unreduced block that ends at `last`: zero, or one past the nearest negligible
// super-diagonal, which is set to 0.
int blockBegin(const Iteration& t, int last) {
    for (int l = last - 1; l >= 0; --l) {
        if (isNegligible(t.e[l], std::fabs(t.s[l]) + std::fabs(t.s[l + 1]))) {
            t.e[l] = 0.0;
            return l + 1;
        }
    }
    return 0;
}

// The last negligible diagonal of the block, set to 0; begin - 1 when there is none.
int negligibleDiagonal(const Iteration& t, int begin, int last) {
    for (int l = last; l >= begin; --l) {
        double scale = 0.0;
        if (l != last) scale += std::fabs(t.e[l]);
        if (l != begin) scale += std::fabs(t.e[l - 1]);
        if (isNegligible(t.s[l], scale)) {
            t.s[l] = 0.0;
            return l;
        }
    }
    return begin - 1;
}

// s[last] is 0: takes e[last - 1] up and out of its column.
void deflateLast(const Iteration& t, int begin, int last) {
    double f = t.e[last - 1];
    t.e[last - 1] = 0.0;
    for (int k = last - 1; k >= begin; --k) {
        const Rotation g = makeRotation(t.s[k], f);
        if (k != begin) {
            f = -g.s * t.e[k - 1];
            t.e[k - 1] *= g.c;
        }
        rotate(t.right, k, last, g);
    }
}

// s[zero] is 0: takes e[zero] along and out of its row, which splits the block there.
void splitAt(const Iteration& t, int zero, int last) {
    double f = t.e[zero];
    t.e[zero] = 0.0;
    for (int k = zero + 1; k <= last; ++k) {
        const Rotation g = makeRotation(t.s[k], f);
        f = -g.s * t.e[k];
        t.e[k] *= g.c;
        rotate(t.left, k, zero, g);
    }
}

// The first column of the shifted product B'B, up to a factor.
struct Bulge {
    double f, g;
};

Bulge shiftedStart(const Iteration& t, int begin, int last) {
    const double *s = t.s, *e = t.e;
    const double scale =
        std::max({std::fabs(s[last]), std::fabs(s[last - 1]), std::fabs(e[last - 1]),
                  std::fabs(s[begin]), std::fabs(e[begin])});
    const double sm = s[last] / scale, smm1 = s[last - 1] / scale, emm1 = e[last - 1] / scale;
    const double sl = s[begin] / scale, el = e[begin] / scale;
    const double b = ((smm1 + sm) * (smm1 - sm) + emm1 * emm1) / 2.0;
    const double c = (sm * emm1) * (sm * emm1);
    double shift = 0.0;
    if (b != 0.0 || c != 0.0) {
        const double root = std::sqrt(b * b + c);
        shift = c / (b + (b < 0.0 ? -root : root));
    }
    return {(sl + sm) * (sl - sm) + shift, sl * el};
}

void qrStep(const Iteration& t, int begin, int last) {
    double *s = t.s, *e = t.e;
    auto [f, g] = shiftedStart(t, begin, last);
    for (int k = begin; k < last; ++k) {
        const Rotation r = makeRotation(f, g);
        if (k != begin) e[k - 1] = f;
        f = r.c * s[k] + r.s * e[k];
        e[k] = r.c * e[k] - r.s * s[k];
        g = r.s * s[k + 1];
        s[k + 1] *= r.c;
        rotate(t.right, k, k + 1, r);

        const Rotation l = makeRotation(f, g);
        s[k] = f;
        f = l.c * e[k] + l.s * s[k + 1];
        s[k + 1] = l.c * s[k + 1] - l.s * e[k];
        g = l.s * e[k + 1];
        e[k + 1] *= l.c;
        rotate(t.left, k, k + 1, l);
    }
    e[last - 1] = f;
}

// s[l] stands alone: makes it positive and moves it to its place among those found before.
void accept(const Iteration& t, int l, int m) {
    if (t.s[l] < 0.0 && has(t.right, l, l)) scale(t.right.rows, -1.0, column(t.right, l));
    t.s[l] = std::fabs(t.s[l]);  // -0 included
    for (; l + 1 < m && t.s[l] < t.s[l + 1]; ++l) {
        std::swap(t.s[l], t.s[l + 1]);
        swapColumns(t.right, l, l + 1);
        swapColumns(t.left, l, l + 1);
    }
}

}  // namespace

int diagonalize(int m, double* s, double* e, const Rotated& left, const Rotated& right) {
    const Iteration t = {s, e, left, right};
    int qrSteps = 0;
    for (int last = m - 1; last >= 0;) {
        const int begin = blockBegin(t, last);
        if (begin == last) {
            accept(t, last--, m);
            qrSteps = 0;
            continue;
        }
        // Only QR steps need a bound: the other passes set an entry of e to 0 for good.
        const int zero = negligibleDiagonal(t, begin, last);
        if (zero == last) {
            deflateLast(t, begin, last);
        } else if (zero >= begin) {
            splitAt(t, zero, last);
        } else if (qrSteps++ < maxQrSteps(m)) {
            qrStep(t, begin, last);
        } else {
            return last + 1;
        }
    }
    return 0;
}

}  // namespace kelvo::kernels
