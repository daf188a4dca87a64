// Decompositions of rectangular matrices: QR, least squares on top of it, and singular values.
//   1. factor() works on a private copy; the matrix given is never changed and need not live on.
//      The default constructors make the decomposition of a 0 x 0 matrix.
//   2. Settings (pivoting, which vectors to compute) count from the next factor() on.
//   3. Indices start at 0. Int results of questions are 1 (yes) or 0 (no).
//   4. Failures of the QR classes are reported through mathErrorHandler (math_error.h), whose
//      default ends the process. When it returns: a vector of the wrong length makes the call
//      return an empty vector, every other report still returns what was computed.
//   5. Copying and assigning an object shares its results, which no later call changes.
//   6. Any input ends, infinities and not-a-numbers too; what they touch comes out non-finite.
// Methods: LINPACK's DQRDC, DQRSL and DSVDC (Dongarra, Bunch, Moler, Stewart, LINPACK Users'
// Guide, SIAM 1979, chapters 9 and 11).
#pragma once

#include "KelvoBase/gen_mat.h"
#include "KelvoBase/kelvo_api.h"
#include "KelvoBase/vec.h"

/// Householder factorization X P = Q R of a matrix X of rows x cols, with or without a column
/// permutation P. Q is rows x rows and kept as reflections; R is upper triangular.
class KELVO_API DoubleQRDecomp {
  public:
    /// The decomposition of a 0 x 0 matrix, pivoting off.
    DoubleQRDecomp();

    /// Factors `x` without pivoting. For pivoting, default-construct, doPivoting(1), factor(x).
    explicit DoubleQRDecomp(const DoubleGenMat& x);

    /// Shares the results of `other`.
    DoubleQRDecomp(const DoubleQRDecomp& other) = default;

    /// Shares the results of `other`, whatever this object held before.
    DoubleQRDecomp& operator=(const DoubleQRDecomp& other);

    ~DoubleQRDecomp() = default;

    /// Non-zero: the next factor() moves the column with the largest remaining norm to the front at
    /// every step, so that the diagonal of R falls in absolute value and dependent columns come
    /// last.
    void doPivoting(int flag);

    /// Factors `x` and forgets the former matrix. Every column takes part in pivoting.
    void factor(const DoubleGenMat& x);

    // ---- The factorization

    /// Rows of the matrix that was factored.
    unsigned rows() const;

    /// Columns of the matrix that was factored.
    unsigned cols() const;

    /// The permutation: column i of X P is column pivots()(i) of X. The identity without pivoting.
    /// Shares this object's vector; take a copy() to change it.
    IntVec pivots() const;

    /// min(rows, cols) less the diagonal elements of R that are exactly 0.0. There is no tolerance:
    /// rounding usually leaves a tiny element instead (DoubleLeastSqQR has a tolerance), and one
    /// that is not a number counts as rank.
    int rank() const;

    /// 0 when rank() equals rows or cols, else 1.
    int isSingular() const;

    // ---- Permuting vectors

    /// New vector w with w(i) = v(pivots()(i)), the order of the columns of X P. Another length
    /// than cols reports 0x5004 and returns an empty vector.
    DoubleVec permute(const DoubleVec& v) const;

    /// The inverse of permute(): w(pivots()(i)) = v(i). Another length than cols reports 0x5004.
    DoubleVec unpermute(const DoubleVec& v) const;

    // ---- Projections
    // They work with X_k, the first k columns of X P. A k that is negative or greater than rows or
    // cols stands for min(rows, cols). `y` needs rows elements, else 0x5002. Results are new
    // vectors.

    /// Q y, where Q holds the first k reflections.
    DoubleVec computeQy(const DoubleVec& y, int k) const;

    /// Transposed Q times y.
    DoubleVec computeQTy(const DoubleVec& y, int k) const;

    /// The k coefficients b that minimise |y - X_k b|, in pivoted order. A diagonal element of R
    /// that is exactly 0.0 reports 0x5011; the coefficients up to its own are then not solved.
    DoubleVec partialSolve(const DoubleVec& y, int k) const;

    /// The residual y - X_k b.
    DoubleVec computeResidualVec(const DoubleVec& y, int k) const;

    /// X_k b, the part of y in the space of the first k columns.
    DoubleVec computeXb(const DoubleVec& y, int k) const;

    // ---- Solving

    /// Least-squares solution x of X x = b, cols elements in the order of X's columns; those beyond
    /// the first min(rows, cols) pivoted ones are 0. `b` needs rows elements (0x5002); a zero on
    /// the diagonal of R reports 0x5011.
    DoubleVec solve(const DoubleVec& b) const;

  protected:
    /// solve() with the first k pivoted columns; the others get 0.
    DoubleVec basicSolution(const DoubleVec& b, int k) const;

    /// 1 when `length` equals rows; else reports 0x5002 and returns 0.
    int fitsRows(unsigned length) const;

    DoubleGenMat qr_;   // R on and above the diagonal, the reflections below; never written again
    IntVec pivots_;     // cols entries
    int pivoting_ = 0;  // 0: no column pivoting
    DoubleVec qraux_;   // cols entries, what qr_ has no room for

  private:
    DoubleVec project(const DoubleVec& y, int k, int job) const;
};

/// Least squares for matrices whose columns may depend on each other: trailing columns whose
/// diagonal element of R is within a tolerance are free and get the coefficient 0 (the basic
/// solution). Use it with doPivoting(1), which sorts dependent columns to the end; without pivoting
/// a dependent column in the middle goes unnoticed.
class KELVO_API DoubleLeastSqQR : public DoubleQRDecomp {
  public:
    /// The 0 x 0 matrix; tolerance 0.0, pivoting off.
    DoubleLeastSqQR();

    /// Factors `x` without pivoting; tolerance 0.0.
    explicit DoubleLeastSqQR(const DoubleGenMat& x);

    /// Sets the largest |R(k, k)| that makes a column free, in the units of the matrix, and returns
    /// the previous one. Counts at once, without factoring again. With 0.0 only exact zeros do.
    double setTolerance(double tolerance);

    /// Rows of the matrix.
    int numEquations() const;

    /// cols - rows where that is positive, plus the trailing diagonal elements of R, counted from
    /// the last one up to the first that is greater than the tolerance or not a number.
    int numFreeCols() const;

    /// 1 when there are free columns.
    int isUnderDetermined() const;

    /// Least-squares solution of X x = b, cols elements, 0 for the free columns. Hides the solve()
    /// of DoubleQRDecomp, which knows no free columns. `b` needs rows elements (0x5002); a matrix
    /// without columns reports 0x5011.
    DoubleVec solve(const DoubleVec& b) const;

    /// b - X x for x = solve(b), without solving. `b` needs rows elements (0x5002); a matrix
    /// without rows reports 0x5011.
    DoubleVec residual(const DoubleVec& b) const;

  private:
    double tolerance_ = 0.0;
};

/// Singular value decomposition X = U diag(s) V^T of a matrix of rows x cols, m = min(rows, cols).
/// A new object computes all left and all right vectors. It reports nothing: ask fail().
class KELVO_API DoubleSVDecomp {
  public:
    /// The decomposition of a 0 x 0 matrix: fail() is 1.
    DoubleSVDecomp();

    /// Factors `x`, left vectors rows x rows, right vectors cols x cols.
    explicit DoubleSVDecomp(const DoubleGenMat& x);

    /// Shares the results of `other`.
    DoubleSVDecomp(const DoubleSVDecomp& other) = default;

    /// Shares the results of `other`, whatever this object held before.
    DoubleSVDecomp& operator=(const DoubleSVDecomp& other);

    ~DoubleSVDecomp() = default;

    /// Factors `x`. Vectors that are not requested stay what the last factor() that computed them
    /// left. Results taken before keep their values.
    void factor(const DoubleGenMat& x);

    // ---- What the next factor() computes. Each returns what held before the call.

    /// Left vectors: flag 0 none; otherwise all rows x rows when there were none, else as before.
    /// Returns 1 when left vectors were requested.
    int computeLeftVecs(int flag);

    /// All left vectors (flag 1) or the first m (flag 0); nothing changes when none are requested.
    /// Returns 1 when all were requested, 0 for the first m or none.
    int computeAllLeftVecs(int flag);

    /// Right vectors: flag 1 computes them, 0 does not. Returns 1 when they were requested.
    int computeRightVecs(int flag);

    // ---- Results, which share this object's storage

    /// The m singular values, not negative and in descending order when fail() is 0.
    DoubleVec singularValues() const;

    /// cols elements left of the superdiagonal of the iteration: zeros unless fail() is 1.
    DoubleVec eValues() const;

    /// U, its columns the left vectors: rows x rows, or rows x m after computeAllLeftVecs(0).
    DoubleGenMat leftVecs() const;

    /// V (not transposed), its columns the right vectors: cols x cols.
    DoubleGenMat rightVecs() const;

    /// How many singular values are right; these are the last ones. All m when fail() is 0.
    int numSVsFound() const;

    /// 1 when there are no singular values (a matrix without rows or columns) or the iteration did
    /// not converge (input that is not finite), else 0.
    int fail() const;

    /// 1 - fail().
    int good() const;

  private:
    DoubleVec s_;
    DoubleVec e_;
    DoubleGenMat u_;
    DoubleGenMat v_;
    int info_ = 0;  // leading singular values that the iteration did not find
    int job_ = 11;  // tens: left vectors 0 none, 1 all, 2 the first m; units: right vectors
};
