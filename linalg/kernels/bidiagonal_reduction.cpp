#include "linalg/kernels/bidiagonal_reduction.h"

#include "linalg/kernels/block_reflector.h"
#include "linalg/kernels/householder.h"
#include "linalg/kernels/level_tables.h"

namespace kelvo::kernels {
namespace {

// Below this order reflections are multiplied one by one, and below this number of elements steps do
// not wait.
constexpr int kSmallestBlocked = 64;
constexpr std::size_t kSmallestWaiting = 128 * 128;
// Steps that wait, and reflections of a block.
constexpr int kWidth = static_cast<int>(BlockReflector::kMost);

std::size_t size(int count) {
    return static_cast<std::size_t>(count);
}

// Reflection from the left: column l below its diagonal goes to zero, the diagonal to s[l].
void reduceColumn(const SvdTask& t, int l) {
    double* head = t.xColumn(l) + l;
    const double norm = makeReflection(t.n - l, head);
    t.s[l] = -norm;
    if (norm != 0.0) applyReflection(t.n - l, head, t.p - l - 1, head + t.ldx, t.ldx);
}

// Reflection from the right: row l beyond its super-diagonal goes to zero, that to e[l]. The row is
// worked on in e, which is contiguous.
void reduceRow(const SvdTask& t, int l) {
    double* row = t.e + l + 1;
    const int length = t.p - l - 1, below = t.n - l - 1;
    const double norm = makeReflection(length, row);
    t.e[l] = -norm;
    if (below == 0 || norm == 0.0) return;
    double* const product = t.work + l + 1;
    double* const rest = t.xColumn(l + 1) + l + 1;
    std::fill_n(product, below, 0.0);
    levelTables().gemm.gemv(size(below), size(length), rest, size(static_cast<int>(t.ldx)), row,
                            product);
    scale(size(below), -1.0 / row[0], product);
    levelTables().reflection.addOuter(size(below), size(length), product, row, rest,
                                      size(static_cast<int>(t.ldx)));
}

void keepLeft(const SvdTask& t, int l) {
    if (t.u && t.u != t.x) std::copy(t.xColumn(l) + l, t.xColumn(l) + t.n, t.uColumn(l) + l);
}

void keepRight(const SvdTask& t, int l) {
    if (t.v) std::copy(t.e + l + 1, t.e + t.p, t.vColumn(l) + l + 1);
}

// Steps whose effect on the rest of the matrix waits: it is X + V Y' + A W' with the vectors V of the
// left and W of the right reflections (Dongarra, Hammarling, Sorensen: Block reduction of matrices to
// condensed forms, J. Comput. Appl. Math. 27, 1989).
class WaitingSteps {
  public:
    static std::size_t work(int n, int p) { return size(n + 2 * p + 1) * kWidth; }

    WaitingSteps(const SvdTask& t, int first, double* work)
        : t_(t),
          first_(first),
          ldx_(size(static_cast<int>(t.ldx))),
          ldn_(size(t.n)),
          ldp_(size(t.p)),
          y_(work),
          w_(y_ + ldp_ * kWidth),
          a_(w_ + ldp_ * kWidth),
          factors_(a_ + ldn_ * kWidth) {}

    void step(int l) {
        reduceColumn(l);
        keepLeft(t_, l);
        reduceRow(l);
        keepRight(t_, l);
    }

    void apply(int end) const {
        const std::size_t rows = size(t_.n - end), cols = size(t_.p - end),
                          depth = size(end - first_);
        double* const rest = t_.xColumn(end) + end;
        addProduct(rows, cols, depth, v(end), ldx_, y_ + end, ldp_, 1, rest, ldx_);
        addProduct(rows, cols, depth, a_ + end, ldn_, w_ + end, ldp_, 1, rest, ldx_);
    }

  private:
    // Row i of all steps.
    const double* v(int i) const { return t_.xColumn(first_) + i; }

    // The first `count` elements of a row of a matrix.
    const double* row(std::size_t count, const double* m, std::size_t ld) {
        for (std::size_t j = 0; j < count; ++j) factors_[j] = m[j * ld];
        return factors_;
    }

    // to += A A2' from, both with `count` columns; `from` has m elements, `to` n.
    void addChain(std::size_t count, std::size_t n, const double* a, std::size_t lda, std::size_t m,
                  const double* a2, std::size_t lda2, const double* from, double* to) {
        std::fill_n(factors_, count, 0.0);
        levelTables().gemm.gemvTransposed(m, count, a2, lda2, from, factors_);
        levelTables().gemm.gemv(n, count, a, lda, factors_, to);
    }

    void reduceColumn(int l) {
        const std::size_t waiting = size(l - first_), rows = size(t_.n - l),
                          cols = size(t_.p - l - 1);
        double* const head = t_.xColumn(l) + l;
        levelTables().gemm.gemv(rows, waiting, v(l), ldx_, row(waiting, y_ + l, ldp_), head);
        levelTables().gemm.gemv(rows, waiting, a_ + l, ldn_, row(waiting, w_ + l, ldp_), head);
        const double norm = makeReflection(t_.n - l, head);
        t_.s[l] = -norm;
        double* const y = y_ + waiting * ldp_ + l + 1;
        std::fill_n(y, cols, 0.0);
        if (norm == 0.0) return;
        levelTables().gemm.gemvTransposed(rows, cols, head + t_.ldx, ldx_, head, y);
        addChain(waiting, cols, y_ + l + 1, ldp_, rows, v(l), ldx_, head, y);
        addChain(waiting, cols, w_ + l + 1, ldp_, rows, a_ + l, ldn_, head, y);
        scale(cols, -1.0 / head[0], y);
    }

    void reduceRow(int l) {
        const std::size_t waiting = size(l - first_), rows = size(t_.n - l - 1),
                          cols = size(t_.p - l - 1);
        double* const e = t_.e + l + 1;
        for (int j = l + 1; j < t_.p; ++j) t_.e[j] = t_.xColumn(j)[l];
        levelTables().gemm.gemv(cols, waiting + 1, y_ + l + 1, ldp_, row(waiting + 1, v(l), ldx_),
                                e);
        levelTables().gemm.gemv(cols, waiting, w_ + l + 1, ldp_, row(waiting, a_ + l, ldn_), e);
        const double norm = makeReflection(t_.p - l - 1, e);
        t_.e[l] = -norm;
        std::copy_n(e, cols, w_ + waiting * ldp_ + l + 1);
        double* const a = a_ + waiting * ldn_ + l + 1;
        std::fill_n(a, rows, 0.0);
        if (norm == 0.0) return;
        levelTables().gemm.gemv(rows, cols, t_.xColumn(l + 1) + l + 1, ldx_, e, a);
        addChain(waiting + 1, rows, v(l + 1), ldx_, cols, y_ + l + 1, ldp_, e, a);
        addChain(waiting, rows, a_ + l + 1, ldn_, cols, w_ + l + 1, ldp_, e, a);
        scale(rows, -1.0 / e[0], a);
    }

    const SvdTask& t_;
    int first_;
    std::size_t ldx_, ldn_, ldp_;
    double *y_, *w_, *a_;  // p, p and n rows, kWidth columns
    double* factors_;      // kWidth
};

// The product of `count` reflections of n elements, whose vectors stand in the columns of a from row
// `shift` below the diagonal on; sizes[l] is 0 where there is none.
void accumulateBlocks(double* a, std::ptrdiff_t lda, int n, int columns, int shift, int count,
                      const double* sizes, double* scratch) {
    constexpr int kLeaf = static_cast<int>(BlockReflector::kLeaf);
    const auto ld = static_cast<std::size_t>(lda);
    for (int j = count; j < columns; ++j) makeIdentityColumn(a + j * lda, n, j);
    for (int end = count; end > 0;) {
        const int begin = (end - 1) / kWidth * kWidth;
        BlockReflector block(size(n - begin - shift), scratch);
        for (int l = begin; l < end; l += kLeaf) {
            double heads[kLeaf];
            const int some = std::min(kLeaf, end - l);
            for (int j = 0; j < some; ++j)
                heads[j] = sizes[l + j] == 0.0 ? 0.0 : a[(l + j) * (lda + 1) + shift];
            block.add(a + l * lda + begin + shift, ld, size(some), heads);
        }
        block.finish(false);
        for (int j = begin; j < end; ++j) makeIdentityColumn(a + j * lda, n, j);
        block.apply(a + (begin + shift) * (lda + 1), ld, size(columns - begin - shift));
        end = begin;
    }
}

}  // namespace

std::size_t reductionWork(int n, int p) {
    if (std::min(n, p) < kSmallestBlocked) return 0;
    return std::max(WaitingSteps::work(n, p), BlockReflector::work(size(std::max(n, p))));
}

void reduceToBidiagonal(const SvdTask& t, double* scratch) {
    const int columns = t.columnReflections(), rows = t.rowReflections(), m = t.order();
    int l = 0;
    // Right vectors in place of x would overwrite left ones that are still needed.
    const bool waits = scratch && t.v != t.x && size(t.n) * size(t.p) >= kSmallestWaiting;
    while (waits && l + kSmallestBlocked <= std::min(columns, rows)) {
        WaitingSteps steps(t, l, scratch);
        const int end = l + kWidth;
        for (; l < end; ++l) steps.step(l);
        steps.apply(end);
    }
    for (; l < std::max(columns, rows); ++l) {
        if (l < columns) {
            reduceColumn(t, l);
            keepLeft(t, l);
        }
        for (int j = l + 1; j < t.p; ++j) t.e[j] = t.xColumn(j)[l];
        if (l < rows) {
            reduceRow(t, l);
            keepRight(t, l);
        }
    }
    // What no reflection was needed for.
    if (columns < t.p) t.s[columns] = t.xColumn(columns)[columns];
    if (t.n < m) t.s[m - 1] = 0.0;
    if (rows + 1 < m) t.e[rows] = t.xColumn(m - 1)[rows];
    std::fill(t.e + m - 1, t.e + t.p, 0.0);
}

void makeIdentityColumn(double* column, int length, int j) {
    std::fill_n(column, length, 0.0);
    column[j] = 1.0;
}

void accumulateU(const SvdTask& t, double* scratch) {
    const int reflections = t.columnReflections();
    if (scratch) return accumulateBlocks(t.u, t.ldu, t.n, t.uColumns, 0, reflections, t.s, scratch);
    for (int j = reflections; j < t.uColumns; ++j) makeIdentityColumn(t.uColumn(j), t.n, j);
    for (int l = reflections - 1; l >= 0; --l) {
        double* column = t.uColumn(l);
        if (t.s[l] == 0.0) {
            makeIdentityColumn(column, t.n, l);
            continue;
        }
        if (l + 1 < t.uColumns)
            applyReflection(t.n - l, column + l, t.uColumns - l - 1, t.uColumn(l + 1) + l, t.ldu);
        scale(t.n - l, -1.0, column + l);
        column[l] += 1.0;
        std::fill_n(column, l, 0.0);
    }
}

// The reflection of row l acts on the rows from l + 1.
void accumulateV(const SvdTask& t, double* scratch) {
    const int reflections = t.rowReflections();
    if (scratch) return accumulateBlocks(t.v, t.ldv, t.p, t.p, 1, reflections, t.e, scratch);
    for (int l = t.p - 1; l >= 0; --l) {
        if (l < reflections && t.e[l] != 0.0) {
            const double* head = t.vColumn(l) + l + 1;
            applyReflection(t.p - l - 1, head, t.p - l - 1, t.vColumn(l + 1) + l + 1, t.ldv);
        }
        makeIdentityColumn(t.vColumn(l), t.p, l);
    }
}

}  // namespace kelvo::kernels
