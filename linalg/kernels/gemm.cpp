#include "linalg/kernels/gemm.h"

#include "linalg/kernels/gemm_table.h"
#include "linalg/kernels/instruction_level.h"

namespace kelvo::kernels {
namespace {

// The packed block of A (rows x kGemmDepth) stays in the second-level cache while a strip of B
// (kGemmDepth x few) passes through the first. Multiple of every stripRows.
constexpr std::size_t kBlockRows = 96;
constexpr std::size_t kBlockCols = 512;
// Below this number of multiplications packing costs more than it gains.
constexpr std::size_t kSmallProduct = 6 * 6 * 6;

const GemmTable& table() {
    switch (activeLevel()) {
#if defined(__x86_64__)
        case Level::kV2:
            return v2::kGemmTable;
        case Level::kV3:
            return v3::kGemmTable;
        case Level::kV4:
            return v4::kGemmTable;
#endif
        default:
            return base::kGemmTable;
    }
}

std::size_t least(std::size_t a, std::size_t b) {
    return a < b ? a : b;
}

// Room for a block of A: its last strip may be filled up to a lane, at most 8 doubles.
std::size_t blockRoom(std::size_t m, std::size_t k) {
    return (least(m, kBlockRows) + 8) * least(k, kGemmDepth);
}

// An operand with its form resolved: element (i, j) of op(A) at at(i, j).
struct Operand {
    const double* elements;
    std::size_t rowStep;
    std::size_t colStep;

    Operand(Form form, const double* a, std::size_t lda)
        : elements(a),
          rowStep(form == Form::kPlain ? 1 : lda),
          colStep(form == Form::kPlain ? lda : 1) {}

    const double* at(std::size_t i, std::size_t j) const {
        return elements + i * rowStep + j * colStep;
    }
};

// count x depth elements of one strip, term after term; `step` leads to the next of the count,
// `termStep` to the next term. Filled up with zeros to `padded`.
double* packStrip(const double* from, std::size_t count, std::size_t padded, std::size_t depth,
                  std::size_t step, std::size_t termStep, double* to) {
    if (termStep == 1) {  // walk along the memory of the source
        for (std::size_t i = 0; i < padded; ++i)
            for (std::size_t p = 0; p < depth; ++p)
                to[i + p * padded] = i < count ? from[i * step + p] : 0.0;
        return to + padded * depth;
    }
    for (std::size_t p = 0; p < depth; ++p) {
        for (std::size_t i = 0; i < count; ++i) to[i] = from[i * step + p * termStep];
        for (std::size_t i = count; i < padded; ++i) to[i] = 0.0;
        to += padded;
    }
    return to;
}

void packRows(const GemmTable& t, const Operand& a, std::size_t i0, std::size_t rows,
              std::size_t p0, std::size_t depth, double* to) {
    for (std::size_t i = 0; i < rows; i += t.stripRows) {
        const std::size_t count = least(t.stripRows, rows - i);
        const std::size_t padded = (count + t.lane - 1) / t.lane * t.lane;
        to = packStrip(a.at(i0 + i, p0), count, padded, depth, a.rowStep, a.colStep, to);
    }
}

void packCols(const GemmTable& t, const Operand& b, std::size_t p0, std::size_t depth,
              std::size_t j0, std::size_t cols, double* to) {
    for (std::size_t j = 0; j < cols; j += t.stripCols) {
        const std::size_t count = least(t.stripCols, cols - j);
        to = packStrip(b.at(p0, j0 + j), count, count, depth, b.colStep, b.rowStep, to);
    }
}

// Block of C += or = packed block of A times packed block of B.
void multiplyBlocks(const GemmTable& t, std::size_t rows, std::size_t cols, std::size_t depth,
                    const double* a, const double* b, double* c, std::size_t ldc, bool adding) {
    for (std::size_t j = 0; j < cols; j += t.stripCols) {
        const std::size_t width = least(t.stripCols, cols - j);
        for (std::size_t i = 0; i < rows; i += t.stripRows)
            t.tile(least(t.stripRows, rows - i), width, depth, a + i * depth, b + j * depth,
                   c + i + j * ldc, ldc, adding);
    }
}

// Without packing: for small products, and when there is no memory.
void multiplyPlain(const Operand& a, const Operand& b, std::size_t m, std::size_t n, std::size_t k,
                   double* c, std::size_t ldc) {
    for (std::size_t j = 0; j < n; ++j) {
        for (std::size_t i = 0; i < m; ++i) {
            const double* x = a.at(i, 0);
            const double* y = b.at(0, j);
            double sum = 0.0;
            for (std::size_t p = 0; p < k; ++p) sum += x[p * a.colStep] * y[p * b.rowStep];
            c[i + j * ldc] = sum;
        }
    }
}

}  // namespace

std::size_t gemmWork(std::size_t m, std::size_t n, std::size_t k) {
    if (m * n * k <= kSmallProduct) return 0;
    return blockRoom(m, k) + least(n, kBlockCols) * least(k, kGemmDepth);
}

void gemm(Form formA, Form formB, std::size_t m, std::size_t n, std::size_t k, const double* a,
          std::size_t lda, const double* b, std::size_t ldb, double* c, std::size_t ldc,
          double* work) {
    const Operand left(formA, a, lda);
    const Operand right(formB, b, ldb);
    if (work == nullptr || k == 0 || m * n * k <= kSmallProduct)
        return multiplyPlain(left, right, m, n, k, c, ldc);
    const GemmTable& t = table();
    double* const rowsPacked = work;
    double* const colsPacked = work + blockRoom(m, k);
    for (std::size_t j = 0; j < n; j += kBlockCols) {
        const std::size_t cols = least(kBlockCols, n - j);
        for (std::size_t p = 0; p < k; p += kGemmDepth) {
            const std::size_t depth = least(kGemmDepth, k - p);
            packCols(t, right, p, depth, j, cols, colsPacked);
            for (std::size_t i = 0; i < m; i += kBlockRows) {
                const std::size_t rows = least(kBlockRows, m - i);
                packRows(t, left, i, rows, p, depth, rowsPacked);
                multiplyBlocks(t, rows, cols, depth, rowsPacked, colsPacked, c + i + j * ldc, ldc,
                               p > 0);
            }
        }
    }
}

void gemv(std::size_t m, std::size_t n, const double* a, std::size_t lda, const double* x,
          double* y) {
    for (std::size_t i = 0; i < m; ++i) y[i] = 0.0;
    table().gemv(m, n, a, lda, x, y);
}

void gemvTransposed(std::size_t m, std::size_t n, const double* a, std::size_t lda, const double* x,
                    double* y) {
    for (std::size_t j = 0; j < n; ++j) y[j] = 0.0;
    table().gemvTransposed(m, n, a, lda, x, y);
}

}  // namespace kelvo::kernels
