#include "linalg/kernels/bidiagonal_svd.h"

#include <algorithm>

#include "linalg/kernels/vector_ops.h"

namespace kelvo::kernels {
namespace {

// Below this order rotations do not wait.
constexpr int kSmallestQueued = 72;
// Sums of squares in between have all their digits, and so have their reciprocals.
constexpr double kLeastSquares = 0x1p-900, kMostSquares = 0x1p900;

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
    RotationQueue leftQueue, rightQueue;

    void flush() {
        leftQueue.flush();
        rightQueue.flush();
    }
};

double* column(const Rotated& r, int j) {
    return r.a + j * r.lda;
}

bool has(const Rotated& r, int i, int j) {
    return r.a && std::max(i, j) < r.columns;
}

// A rotation that takes (a, b) to (size, 0).
struct Turn : Rotation {
    double size;
};

// From scaled numbers, so that it stays a rotation where a and b have few digits left.
Turn scaledTurn(double a, double b) {
    const double scale = std::fabs(a) + std::fabs(b);
    if (scale == 0.0) return {{1.0, 0.0}, a};
    const double dominant = std::fabs(a) > std::fabs(b) ? a : b;
    const double as = a / scale, bs = b / scale;
    const double norm = std::copysign(std::sqrt(as * as + bs * bs), dominant);
    return {{as / norm, bs / norm}, scale * norm};
}

inline Turn makeTurn(double a, double b) {
    const double squares = a * a + b * b;
    if (!(squares >= kLeastSquares && squares <= kMostSquares)) return scaledTurn(a, b);
    // Each rotation waits for the one before: the division runs beside the root.
    const double root = std::sqrt(squares);
    const double sign = std::fabs(a) > std::fabs(b) ? a : b;
    const double inverse = std::copysign(1.0 / squares, sign);
    return {{a * inverse * root, b * inverse * root}, std::copysign(root, sign)};
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
void deflateLast(Iteration& t, int begin, int last) {
    t.flush();
    double f = t.e[last - 1];
    t.e[last - 1] = 0.0;
    for (int k = last - 1; k >= begin; --k) {
        const Turn g = makeTurn(t.s[k], f);
        t.s[k] = g.size;
        if (k != begin) {
            f = -g.s * t.e[k - 1];
            t.e[k - 1] *= g.c;
        }
        t.rightQueue.rotateNow(k, last, g);
    }
}

// s[zero] is 0: takes e[zero] along and out of its row, which splits the block there.
void splitAt(Iteration& t, int zero, int last) {
    t.flush();
    double f = t.e[zero];
    t.e[zero] = 0.0;
    for (int k = zero + 1; k <= last; ++k) {
        const Turn g = makeTurn(t.s[k], f);
        t.s[k] = g.size;
        f = -g.s * t.e[k];
        t.e[k] *= g.c;
        t.leftQueue.rotateNow(k, zero, g);
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

void qrStep(Iteration& t, int begin, int last) {
    t.leftQueue.beginSweep(begin, last);
    t.rightQueue.beginSweep(begin, last);
    double *s = t.s, *e = t.e;
    auto [f, g] = shiftedStart(t, begin, last);
    double diagonal = s[begin], super = e[begin];
    for (int k = begin; k < last; ++k) {
        const Turn r = makeTurn(f, g);
        if (k != begin) e[k - 1] = r.size;
        f = r.c * diagonal + r.s * super;
        super = r.c * super - r.s * diagonal;
        g = r.s * s[k + 1];
        diagonal = r.c * s[k + 1];
        t.rightQueue.add(k, r);

        const Turn l = makeTurn(f, g);
        s[k] = l.size;
        f = l.c * super + l.s * diagonal;
        diagonal = l.c * diagonal - l.s * super;
        g = l.s * e[k + 1];
        super = l.c * e[k + 1];
        t.leftQueue.add(k, l);
    }
    s[last] = diagonal;
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

std::size_t diagonalizeWork(int m) {
    return m < kSmallestQueued ? 0 : 2 * RotationQueue::work(m);
}

int diagonalize(int m, double* s, double* e, const Rotated& left, const Rotated& right,
                double* work) {
    if (diagonalizeWork(m) == 0) work = nullptr;
    double* const second = work ? work + RotationQueue::work(m) : nullptr;
    Iteration t = {s, e, left, right, {left, m, work}, {right, m, second}};
    int qrSteps = 0, last = m - 1;
    while (last >= 0) {
        const int begin = blockBegin(t, last);
        if (begin == last) {
            --last;
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
            break;
        }
    }
    t.flush();
    for (int l = m - 1; l > last; --l) accept(t, l, m);
    return last + 1;
}

}  // namespace kelvo::kernels
