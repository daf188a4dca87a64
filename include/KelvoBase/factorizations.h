// Factorizations of square matrices, to solve linear systems: LU for any matrix, a symmetric one for
// symmetric matrices that need not be definite, and Cholesky for positive definite ones, whose
// factor can follow changes of the matrix.
//   1. factor() works on a private copy; the matrix given is never changed and need not live on.
//      The default constructors make the factorization of a 0 x 0 matrix.
//   2. Indices start at 0. Int results of questions are 1 (yes) or 0 (no). Results are new vectors
//      and matrices.
//   3. Failures are reported through mathErrorHandler (math_error.h), whose default ends the process
//      for all of them but kNoCondition. When it returns: a vector of the wrong length makes the
//      call return an empty vector and change nothing, every other report still returns what was
//      computed, non-finite numbers included.
//   4. Copying and assigning an object shares its results, which no later call changes.
//   5. DoubleGenFact and DoubleChDecomp (except its downdate) give the same bits on every
//      processor.
//   6. Any input ends, infinities and not-a-numbers too.
// Methods: LINPACK (Dongarra, Bunch, Moler, Stewart, LINPACK Users' Guide, SIAM 1979, chapters 1, 5,
// 8 and 10).
#pragma once

#include "KelvoBase/gen_mat.h"
#include "KelvoBase/kelvo_api.h"
#include "KelvoBase/packed_mat.h"
#include "KelvoBase/vec.h"

/// LU factorization with partial pivoting of a square matrix.
class KELVO_API DoubleGenFact {
  public:
    /// The factorization of a 0 x 0 matrix: fail() is 1.
    DoubleGenFact();

    /// Factors `a`; see factor().
    explicit DoubleGenFact(const DoubleGenMat& a, int estimateCondition = 1);

    /// Shares the results of `other`.
    DoubleGenFact(const DoubleGenFact& other) = default;

    /// Shares the results of `other`, whatever this object held before.
    DoubleGenFact& operator=(const DoubleGenFact& other);

    ~DoubleGenFact() = default;

    /// Factors `a` and forgets the former matrix. With a non-zero `estimateCondition` the reciprocal
    /// condition number is estimated too, at a cost of order n^2. A matrix that is not square is
    /// reported (0x500D); when the handler returns, its rows count, and columns that it lacks are 0.
    void factor(const DoubleGenMat& a, int estimateCondition = 1);

    /// 1 when there is no matrix (n = 0) or it is singular.
    int fail() const;

    /// 1 - fail().
    int good() const;

    /// 1 when 1.0 + the reciprocal condition number is 1.0: singular to working precision. Without
    /// an estimate only an exactly zero pivot makes a matrix singular.
    int isSingular() const;

    /// The estimate of 1 / (|A| |inverse of A|) in the 1-norm: near 1 for a well-conditioned matrix,
    /// 0 for an exactly singular one. Without an estimate 0x5001 is reported, and -1 returned.
    double condition() const;

    /// The solution x of A x = b. `b` needs n elements (0x5002). A matrix that is singular or empty
    /// reports 0x5011.
    DoubleVec solve(const DoubleVec& b) const;

    /// The determinant; 0 for a singular matrix and for n = 0. Overflows to infinity and underflows
    /// to 0 only where its value does.
    double determinant() const;

    /// The inverse of A. A matrix that is singular or empty reports 0x5011.
    DoubleGenMat inverse() const;

  private:
    void factorCopy(int estimateCondition);
    void clear();

    DoubleGenMat factors_;  // negated multipliers below the diagonal, U on and above
    IntVec pivots_;         // row interchanges, counted from 1
    double rcond_ = -1.0;   // -1: not estimated
};

/// Factorization U D U' of a symmetric matrix, definite or not, with diagonal pivoting (Bunch,
/// Kaufman): half the work of DoubleGenFact. Members as there.
class KELVO_API DoubleSymFact {
  public:
    /// The factorization of a 0 x 0 matrix: fail() is 1.
    DoubleSymFact();

    /// Factors `a`; see factor().
    explicit DoubleSymFact(const DoubleSymMat& a, int estimateCondition = 1);

    /// Shares the results of `other`.
    DoubleSymFact(const DoubleSymFact& other) = default;

    /// Shares the results of `other`, whatever this object held before.
    DoubleSymFact& operator=(const DoubleSymFact& other);

    ~DoubleSymFact() = default;

    /// Factors `a` and forgets the former matrix; estimates the reciprocal condition number when
    /// `estimateCondition` is not 0.
    void factor(const DoubleSymMat& a, int estimateCondition = 1);

    /// 1 when there is no matrix (n = 0) or it is singular.
    int fail() const;

    /// 1 - fail().
    int good() const;

    /// 1 when 1.0 + the reciprocal condition number is 1.0.
    int isSingular() const;

    /// The estimated reciprocal condition number; without an estimate 0x5001 is reported, and -1
    /// returned.
    double condition() const;

    /// The solution x of A x = b. `b` needs n elements (0x5002). A matrix that is singular or empty
    /// reports 0x5011.
    DoubleVec solve(const DoubleVec& b) const;

    /// The determinant; 0 for a singular matrix and for n = 0.
    double determinant() const;

    /// The inverse of A. A matrix that is singular or empty reports 0x5011.
    DoubleSymMat inverse() const;

  private:
    void factorCopy(int estimateCondition);
    void clear();

    DoubleSymMat factors_;  // U and the blocks of D, packed
    IntVec pivots_;         // interchanges counted from 1, negative for blocks of two
    double rcond_ = -1.0;   // -1: not estimated
};

/// Cholesky factorization A = R'R of a symmetric positive definite matrix, of which only the upper
/// triangle is read, with or without a symmetric permutation P: P'A P = R'R. n is the number of
/// columns. A matrix that is not positive definite is factored as far as it goes: lastPosFactor().
class KELVO_API DoubleChDecomp {
  public:
    /// Where a column may go when pivoting is on: to the front, where its size demands, to the end.
    enum PivotSpecifier : int { FINAL = -1, FREE = 0, INITIAL = 1 };

    /// The factorization of a 0 x 0 matrix; pivoting off.
    DoubleChDecomp();

    /// Factors `a` without pivoting. For pivoting, default-construct, doPivoting(1), factor(a).
    explicit DoubleChDecomp(const DoubleGenMat& a);

    /// Shares the results of `other`.
    DoubleChDecomp(const DoubleChDecomp& other) = default;

    /// Shares the results of `other`, whatever this object held before.
    DoubleChDecomp& operator=(const DoubleChDecomp& other);

    ~DoubleChDecomp() = default;

    /// Non-zero: the next factor() moves the largest remaining diagonal element to the front at
    /// every step, so that a semidefinite matrix of rank r ends with lastPosFactor() = r.
    void doPivoting(int flag);

    /// Says for the next factor() where `column` may go if pivoting is on; columns without a
    /// specifier are FREE, and all of them are again after any factor(). Returns the previous
    /// specifier. One other than 1, 0 and -1 is reported (0x5012) and changes nothing, nor does a
    /// negative column (0x3005).
    int setPivoting(int column, int specifier);

    /// Factors `a` and forgets the former matrix. Fewer rows than columns are reported (0x5010);
    /// when the handler returns, the rows missing count as 0.
    void factor(const DoubleGenMat& a);

    // ---- The factorization

    /// 1 when the matrix was positive definite: lastPosFactor() is the number of rows.
    int isPD() const;

    /// How many leading diagonal elements the factorization found to be positive; the leading part
    /// of R of that order is a factor. n for a positive definite matrix.
    int lastPosFactor() const;

    /// The permutation: column i of A P is column pivots()(i) of A; the identity without pivoting.
    /// Before the first factor() the specifiers that were set. May share this object's vector; take
    /// a copy() to change it.
    IntVec pivots() const;

    /// 1 when a diagonal element of R from lastPosFactor() - 1 on is negative, else 0, which
    /// includes lastPosFactor() = 0. It does not ask for a positive definite matrix: isPD() does.
    int fail() const;

    /// 1 - fail().
    int good() const;

    /// Callers rely on its odd domain: (R(n-1, n-1) / R(0, 0))^2 when lastPosFactor() is n - 1, and
    /// 0.0 otherwise, for a positive definite matrix too. Without pivoting 0x5001 is reported, and
    /// -1 returned.
    double condition() const;

    // ---- Permuting and solving

    /// New vector w with w(i) = v(pivots()(i)), the order of R's columns. Another length than n
    /// reports 0x5004.
    DoubleVec permute(const DoubleVec& v) const;

    /// The inverse of permute(): w(pivots()(i)) = v(i).
    DoubleVec unpermute(const DoubleVec& v) const;

    /// The solution of R'R x = b with the leading k x k part of R, in pivoted order. `b` needs k
    /// elements (0x5002). A k beyond lastPosFactor() reports 0x5011, and one beyond n then returns
    /// an empty vector.
    DoubleVec partialSolve(const DoubleVec& b, int k) const;

    /// The solution x of A x = b. `b` needs n elements (0x5004). A matrix that is not positive
    /// definite reports 0x5011.
    DoubleVec solve(const DoubleVec& b) const;

    // ---- Following changes of the matrix
    // They change R alone: lastPosFactor() and pivots() stay, and vectors stand in the order of R's
    // columns (permute()). Diagonal elements of R may become negative.
    //
    // `z` (n rows), `y` and `rho` (one element for each column of z) are a least-squares problem
    // that is carried along: z holds Q'b of the right sides b, y the elements of the right sides in
    // the row x, rho the norms of the residuals (update leaves a negative one alone, for downdate it
    // is too small). `c` and `s`, n elements, receive cosines and sines of the rotations. All may be
    // null: y then counts as 0, and norms are not kept.
    //
    // Reports, in this order, after which nothing is changed: x 0x5002, z 0x5007, y or rho 0x5009,
    // c or s 0x5008, a vector whose stride is not 1 0x500C.

    /// Adds a row: R'R gains x x'.
    void update(const DoubleVec& x, DoubleGenMat* z = nullptr, const DoubleVec* y = nullptr,
                DoubleVec* rho = nullptr, DoubleVec* c = nullptr, DoubleVec* s = nullptr);

    /// Takes a row out: R'R loses x x'. Returns 0 when done; -1 when the result would not be
    /// positive definite, with nothing changed, or after a report; 1 when done but a residual norm
    /// would have become imaginary, and was set to -1.
    int downdate(const DoubleVec& x, DoubleGenMat* z = nullptr, const DoubleVec* y = nullptr,
                 DoubleVec* rho = nullptr, DoubleVec* c = nullptr, DoubleVec* s = nullptr);

    /// Moves a column of R and makes R triangular again. Direction 1: column l goes to place k, and
    /// columns k to l - 1 one place right. Direction 0: column k goes to place l, and columns k + 1
    /// to l one place left. `z` is carried along as above; `c` and `s` need l - k elements.
    /// Reports, in this order, after which nothing is changed: direction 0x5005, unless
    /// 0 <= k < l < n 0x5006, z 0x5007, c or s 0x5008.
    void shift(int k, int l, int direction, DoubleGenMat* z = nullptr, DoubleVec* c = nullptr,
               DoubleVec* s = nullptr);

  private:
    struct Carried;
    void factorCopy();
    int fits(const DoubleVec& x, const Carried& with) const;

    DoubleGenMat r_;            // R in the upper triangle
    int lastPositive_ = 0;      // order of the part that was factored
    IntVec pivots_;             // n entries with pivoting; before the first factor() specifiers_
    int pivoting_ = 0;          // for the next factor()
    IntVec specifiers_;         // for the next factor()
    int factoredPivoting_ = 0;  // was pivoting on in the last factor()?
    int factored_ = 0;          // was there a factor()?
};
