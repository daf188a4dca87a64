#include "linalg/kernels/vector_ops.h"

namespace kelvo::kernels {
namespace {

// sqrt(DBL_MIN / DBL_EPSILON): up to here a square may lose bits to underflow.
constexpr double kSmall = 0x1p-485;
// sqrt(DBL_MAX)
constexpr double kLarge = 0x1.fffffffffffffp511;

// A sum of squares held as sum * largest^2.
struct ScaledSum {
    double sum;
    double largest;

    void add(double a) {
        if (a > largest) {
            sum = 1.0 + sum * square(largest / a);
            largest = a;
        } else {
            sum += a == largest ? 1.0 : square(a / largest);  // also for two infinities
        }
    }
    static double square(double a) { return a * a; }
};

}  // namespace

double nrm2Scaled(std::size_t n, const double* x, std::ptrdiff_t stride) {
    const auto end = static_cast<std::ptrdiff_t>(n);
    const auto element = [=](std::ptrdiff_t i) { return std::fabs(x[i * stride]); };
    std::ptrdiff_t i = 0;
    while (i < end && element(i) == 0.0) ++i;
    if (i == end) return 0.0;

    ScaledSum small = {0.0, 0.0};
    for (; i < end && !(element(i) > kSmall); ++i) small.add(element(i));
    if (i == end) return small.largest * std::sqrt(small.sum);

    // Plain squares, as long as n of them cannot overflow.
    const double limit = kLarge / static_cast<double>(n);
    double sum = small.sum * small.largest * small.largest;
    for (; i < end && !(element(i) >= limit); ++i) sum += element(i) * element(i);
    if (i == end) return std::sqrt(sum);

    const double first = element(i);
    ScaledSum large = {sum / first / first, first};
    for (; i < end; ++i) large.add(element(i));
    return large.largest * std::sqrt(large.sum);
}

}  // namespace kelvo::kernels
