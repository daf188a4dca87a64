#include "linalg/kernels/cholesky_update.h"

#include <algorithm>

#include "linalg/kernels/level_tables.h"
#include "linalg/kernels/small_orders.h"

namespace kelvo::kernels {
namespace {

// Columns that are rotated together.
constexpr int kTogether = 16, kFew = 4;

// Applies `rows` rotations to the rows of a (rows x cols, cols at most kTogether) and `rest`.
void rotateRows(int rows, int cols, const double* c, const double* s, double* a, std::ptrdiff_t lda,
                double* rest) {
    if (rows > 0)
        levelTables().rotation.rotateRows(static_cast<std::size_t>(rows),
                                          static_cast<std::size_t>(cols), c, s, a,
                                          static_cast<std::size_t>(lda), rest);
}

// (a, b) becomes (c a + s b, c b - s a).
inline void rotate(double c, double s, double& a, double& b) {
    const double t = c * a + s * b;
    b = c * b - s * a;
    a = t;
}

inline double square(double x) {
    return x * x;
}

// The length of (a, b), whose magnitudes are added to `scale`.
inline double scaledLength(double a, double b, double scale) {
    return scale * std::sqrt(square(a / scale) + square(b / scale));
}

// drotg
inline void planeRotation(double& a, double b, double& c, double& s) {
    const double larger = std::fabs(a) > std::fabs(b) ? a : b;
    const double scale = std::fabs(a) + std::fabs(b);
    if (scale == 0.0) {
        c = 1.0;
        s = 0.0;
        a = 0.0;
        return;
    }
    const double r = std::copysign(scaledLength(a, b, scale), larger);
    c = a / r;
    s = b / r;
    a = r;
}

// One residual norm and the rest of its row after the rotations. False when it becomes imaginary.
bool takeFromNorm(double rest, double* rho) {
    const double size = std::fabs(rest);
    if (!(size <= *rho)) {
        *rho = -1.0;
        return false;
    }
    if (*rho != 0.0) *rho *= std::sqrt(1.0 - square(size / *rho));
    return true;
}

// Rotates neighbouring rows of a column, from row `first` on, rotation from .. to - 1 upwards.
void rotateDown(double* column, int from, int to, const double* c, const double* s) {
    for (int i = from; i < to; ++i) rotate(c[i], s[i], column[i], column[i + 1]);
}

// Rotation i works on rows last - i and last - i + 1.
void rotateUp(double* column, int last, int from, int to, const double* c, const double* s) {
    for (int i = from; i < to; ++i) rotate(c[i], s[i], column[last - i], column[last - i + 1]);
}

void shiftRight(double* r, std::ptrdiff_t ldr, int p, int k, int l, double* c, double* s) {
    // Column l, turned upside down, waits in s while the others move.
    for (int i = 0; i <= l; ++i) s[i] = r[l - i + l * ldr];
    for (int j = l - 1; j >= k; --j) {
        std::copy_n(r + j * ldr, j + 1, r + (j + 1) * ldr);
        r[j + 1 + (j + 1) * ldr] = 0.0;
    }
    for (int i = 0; i < k; ++i) r[i + k * ldr] = s[l - i];
    double t = s[0];
    for (int i = 0; i < l - k; ++i) {
        double next = s[i + 1];
        drotg(&next, t, c + i, s + i);
        t = next;
    }
    r[k + k * ldr] = t;
    for (int j = k + 1; j < p; ++j) rotateUp(r + j * ldr, l - 1, std::max(0, l - j), l - k, c, s);
}

void shiftLeft(double* r, std::ptrdiff_t ldr, int p, int k, int l, double* c, double* s) {
    double* const moving = s + (l - k);  // column k down to its diagonal
    std::copy_n(r + k * ldr, k + 1, moving);
    for (int j = k; j < l; ++j) {
        std::copy_n(r + (j + 1) * ldr, j + 1, r + j * ldr);
        s[j - k] = r[j + 1 + (j + 1) * ldr];
    }
    std::copy_n(moving, k + 1, r + l * ldr);
    std::fill(r + k + 1 + l * ldr, r + l + 1 + l * ldr, 0.0);
    for (int j = k; j < p; ++j) {
        double* const column = r + j * ldr;
        rotateDown(column + k, 0, std::min(j, l) - k, c, s);
        if (j < l) drotg(column + j, s[j - k], c + (j - k), s + (j - k));
    }
}

}  // namespace

void drotg(double* a, double b, double* c, double* s) {
    planeRotation(*a, b, *c, *s);
}

namespace {

// The triangle on the diagonal and its own rotations.
void finishColumns(int n, double* r, std::ptrdiff_t ldr, double* rest, double* c, double* s) {
    for (int j = 0; j < n; ++j) {
        double* const column = r + j * ldr;
        double left = rest[j];  // in a register: the stores might change memory
        for (int i = 0; i < j; ++i) rotate(c[i], s[i], column[i], left);
        drotg(column + j, left, c + j, s + j);
    }
}

template <class Order>
inline void updateFew(double* r, std::ptrdiff_t ldr, Order order, const double* x, double* c,
                      double* s) {
    const int p = order;
    double cosine = 0.0, sine = 0.0;  // the latest: the way through memory takes longer
#pragma GCC unroll 4
    for (int j = 0; j < p; ++j) {
        double* const column = r + j * ldr;
        double rest = x[j];
#pragma GCC unroll 4
        for (int i = 0; i + 1 < j; ++i) rotate(c[i], s[i], column[i], rest);
        if (j > 0) rotate(cosine, sine, column[j - 1], rest);
        planeRotation(column[j], rest, cosine, sine);
        c[j] = cosine;
        s[j] = sine;
    }
}

void updateMany(double* r, std::ptrdiff_t ldr, int p, const double* x, double* c, double* s) {
    double rest[kTogether];
    for (int begin = 0; begin < p; begin += kTogether) {
        const int cols = std::min(kTogether, p - begin);
        for (int j = 0; j < cols; ++j) rest[j] = x[begin + j];
        rotateRows(begin, cols, c, s, r + begin * ldr, ldr, rest);
        for (int j = begin; j < begin + cols; j += kFew) {
            const int few = std::min(kFew, begin + cols - j);
            double* const block = r + begin + j * ldr;
            rotateRows(j - begin, few, c + begin, s + begin, block, ldr, rest + (j - begin));
            finishColumns(few, r + j * (ldr + 1), ldr, rest + (j - begin), c + j, s + j);
        }
    }
}

}  // namespace

void dchud(double* r, std::ptrdiff_t ldr, int p, const double* x, double* z, std::ptrdiff_t ldz,
           int nz, const double* y, double* rho, double* c, double* s) {
    if (p > kSmallOrder)
        updateMany(r, ldr, p, x, c, s);
    else
        withSmallOrder(p, [=](auto n) { updateFew(r, ldr, n, x, c, s); });
    double rest[kTogether];
    for (int begin = 0; begin < nz; begin += kTogether) {
        const int cols = std::min(kTogether, nz - begin);
        std::copy_n(y + begin, cols, rest);
        rotateRows(p, cols, c, s, z + begin * ldz, ldz, rest);
        for (int j = begin; j < begin + cols; ++j) {
            const double size = std::fabs(rest[j - begin]);
            if (size != 0.0 && rho[j] >= 0.0) rho[j] = scaledLength(size, rho[j], size + rho[j]);
        }
    }
}

int dchdd(double* r, std::ptrdiff_t ldr, int p, const double* x, double* z, std::ptrdiff_t ldz,
          int nz, const double* y, double* rho, double* c, double* s) {
    for (int j = 0; j < p; ++j)
        s[j] = (x[j] - dot(static_cast<std::size_t>(j), r + j * ldr, s)) / r[j + j * ldr];
    const double norm = nrm2(static_cast<std::size_t>(p), s);
    if (!(norm < 1.0)) return -1;

    double alpha = std::sqrt(1.0 - square(norm));
    for (int i = p - 1; i >= 0; --i) {
        const double scale = alpha + std::fabs(s[i]);
        const double a = alpha / scale, b = s[i] / scale;
        const double length = std::sqrt(square(a) + square(b));
        c[i] = a / length;
        s[i] = b / length;
        alpha = scale * length;
    }
    for (int j = 0; j < p; ++j) {
        double rest = 0.0;
        for (int i = j; i >= 0; --i) rotate(c[i], s[i], rest, r[i + j * ldr]);
    }
    int info = 0;
    for (int j = 0; j < nz; ++j) {
        double rest = y[j];
        for (int i = 0; i < p; ++i) {
            double& element = z[i + j * ldz];
            element = (element - s[i] * rest) / c[i];
            rest = c[i] * rest - s[i] * element;
        }
        if (!takeFromNorm(rest, rho + j)) info = 1;
    }
    return info;
}

void dchex(double* r, std::ptrdiff_t ldr, int p, int k, int l, double* z, std::ptrdiff_t ldz,
           int nz, double* c, double* s, int job) {
    const int first = k - 1, last = l - 1, count = l - k;
    if (job == 1) {
        shiftRight(r, ldr, p, first, last, c, s);
        for (int j = 0; j < nz; ++j) rotateUp(z + j * ldz, last - 1, 0, count, c, s);
    } else {
        shiftLeft(r, ldr, p, first, last, c, s);
        for (int j = 0; j < nz; ++j) rotateDown(z + j * ldz + first, 0, count, c, s);
    }
}

}  // namespace kelvo::kernels
