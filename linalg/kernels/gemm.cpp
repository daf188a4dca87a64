#include "linalg/kernels/gemm.h"

#include "linalg/kernels/level_tables.h"

namespace kelvo::kernels {
namespace {

// The packed block of A (rows x kGemmDepth) stays in the second-level cache while a strip of B
// (kGemmDepth x few) passes through the first. Multiple of every tileRows.
constexpr std::size_t kBlockRows = 96;
constexpr std::size_t kBlockCols = 512;
// Operands of up to this many elements are read where they stand: packing costs more than it gains.
constexpr std::size_t kSmallOperand = 128 * 128;
// Up to these numbers of rows the narrow kernels are the quicker ones.
constexpr std::size_t kNarrow = 16;
constexpr std::size_t kNarrowTransposed = 200;

std::size_t least(std::size_t a, std::size_t b) {
    return a < b ? a : b;
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
// `termStep` to the next term.
double* packStrip(const double* from, std::size_t count, std::size_t depth, std::size_t step,
                  std::size_t termStep, double* to) {
    if (termStep == 1) {  // walk along the memory of the source
        for (std::size_t i = 0; i < count; ++i)
            for (std::size_t p = 0; p < depth; ++p) to[i + p * count] = from[i * step + p];
    } else {
        for (std::size_t p = 0; p < depth; ++p)
            for (std::size_t i = 0; i < count; ++i)
                to[i + p * count] = from[i * step + p * termStep];
    }
    return to + count * depth;
}

// Strips of `width` rows of op(A), or columns of op(B), one behind the other. A strip begins at its
// first row (or column) times `depth`.
void packStrips(const double* from, std::size_t total, std::size_t width, std::size_t depth,
                std::size_t step, std::size_t termStep, double* to) {
    for (std::size_t i = 0; i < total; i += width)
        to = packStrip(from + i * step, least(width, total - i), depth, step, termStep, to);
}

// A block of C += or = packed block of A times packed block of B.
void multiplyPacked(const GemmTable& t, std::size_t rows, std::size_t cols, std::size_t depth,
                    const double* a, const double* b, double* c, std::size_t ldc, bool adding) {
    for (std::size_t j = 0; j < cols; j += t.tileCols) {
        const std::size_t width = least(t.tileCols, cols - j);
        for (std::size_t i = 0; i < rows; i += t.tileRows) {
            const std::size_t height = least(t.tileRows, rows - i);
            t.tile(height, width, depth, a + i * depth, height, b + j * depth, width, 1,
                   c + i + j * ldc, ldc, adding);
        }
    }
}

// C = A op(B) read where they stand, with A plain.
void multiplyInPlace(const GemmTable& t, const Operand& a, const Operand& b, std::size_t m,
                     std::size_t n, std::size_t k, double* c, std::size_t ldc) {
    for (std::size_t j = 0; j < n; j += t.tileCols) {
        const std::size_t width = least(t.tileCols, n - j);
        for (std::size_t i = 0; i < m; i += t.tileRows)
            t.tile(least(t.tileRows, m - i), width, k, a.at(i, 0), a.colStep, b.at(0, j), b.rowStep,
                   b.colStep, c + i + j * ldc, ldc, false);
    }
}

// Without scratch, for any forms.
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

bool isSmall(std::size_t m, std::size_t n, std::size_t k) {
    return k <= kGemmDepth && m * k <= kSmallOperand && k * n <= kSmallOperand;
}

}  // namespace

std::size_t gemmWork(Form formA, std::size_t m, std::size_t n, std::size_t k) {
    if (isSmall(m, n, k)) return formA == Form::kPlain ? 0 : m * k;
    return (least(m, kBlockRows) + least(n, kBlockCols)) * least(k, kGemmDepth);
}

void gemm(Form formA, Form formB, std::size_t m, std::size_t n, std::size_t k, const double* a,
          std::size_t lda, const double* b, std::size_t ldb, double* c, std::size_t ldc,
          double* work) {
    if (k == 0) {  // no terms, and the operands may be null
        for (std::size_t j = 0; j < n; ++j)
            for (std::size_t i = 0; i < m; ++i) c[i + j * ldc] = 0.0;
        return;
    }
    const Operand left(formA, a, lda);
    const Operand right(formB, b, ldb);
    const GemmTable& t = levelTables().gemm;
    if (isSmall(m, n, k)) {
        if (formA == Form::kPlain) return multiplyInPlace(t, left, right, m, n, k, c, ldc);
        if (work != nullptr) {
            t.transpose(k, m, a, lda, work, m);
            return multiplyInPlace(t, Operand(Form::kPlain, work, m), right, m, n, k, c, ldc);
        }
    }
    if (work == nullptr) return multiplyPlain(left, right, m, n, k, c, ldc);
    double* const rowsPacked = work;
    double* const colsPacked = work + least(m, kBlockRows) * least(k, kGemmDepth);
    for (std::size_t j = 0; j < n; j += kBlockCols) {
        const std::size_t cols = least(kBlockCols, n - j);
        for (std::size_t p = 0; p < k; p += kGemmDepth) {
            const std::size_t depth = least(kGemmDepth, k - p);
            packStrips(right.at(p, j), cols, t.tileCols, depth, right.colStep, right.rowStep,
                       colsPacked);
            for (std::size_t i = 0; i < m; i += kBlockRows) {
                const std::size_t rows = least(kBlockRows, m - i);
                packStrips(left.at(i, p), rows, t.tileRows, depth, left.rowStep, left.colStep,
                           rowsPacked);
                multiplyPacked(t, rows, cols, depth, rowsPacked, colsPacked, c + i + j * ldc, ldc,
                               p > 0);
            }
        }
    }
}

void gemv(std::size_t m, std::size_t n, const double* a, std::size_t lda, const double* x,
          double* y) {
    const GemmTable& t = levelTables(m, kNarrow).gemm;
    if (m > 2 * t.tileRows) {
        for (std::size_t i = 0; i < m; ++i) y[i] = 0.0;
        return t.gemv(m, n, a, lda, x, y);
    }
    for (std::size_t i = 0; i < m; i += t.tileRows)  // y in registers
        t.tile(least(t.tileRows, m - i), 1, n, a + i, lda, x, 1, 1, y + i, m, false);
}

void gemvTransposed(std::size_t m, std::size_t n, const double* a, std::size_t lda, const double* x,
                    double* y) {
    for (std::size_t j = 0; j < n; ++j) y[j] = 0.0;
    levelTables(m, kNarrowTransposed).gemm.gemvTransposed(m, n, a, lda, x, y);
}

void transpose(std::size_t m, std::size_t n, const double* a, std::size_t lda, double* b,
               std::size_t ldb) {
    levelTables().gemm.transpose(m, n, a, lda, b, ldb);
}

}  // namespace kelvo::kernels
