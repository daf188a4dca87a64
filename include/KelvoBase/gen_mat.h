// Dense rectangular matrices of double and int, their indirect views (picks) and their products.
//   1. Storage is column by column: element (i, j), row i and column j from 0, is element
//      j * rows() + i of the data vector. A column is contiguous, a row has stride rows().
//   2. A matrix is a view like a vector: copying one shares its elements, rows, columns, diagonals
//      and the data vector are views of them. copy() gives elements of its own.
//   3. Assignment writes values: `A = B` needs equal shapes and stores into the elements of A. To
//      make A another view, use A.reference(B).
//   4. `A * B` multiplies element by element; the algebraic products are named functions.
//   5. Checks report through mathErrorHandler (math_error.h). When the handler returns, the
//      operation goes on within the memory it owns: cells that do not exist are one scratch cell
//      that reads 0, and unequal operands count as far as both reach.
//   6. int wraps around. One thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>

#include "KelvoBase/kelvo_api.h"
#include "KelvoBase/vec.h"

class DoubleGenMat;
class IntGenMat;
class DoubleGenMatPick;
class IntGenMatPick;
class DoubleSymMat;
class DoubleLowerTriMat;
class DoubleUpperTriMat;

namespace kelvo::linalg {

struct MatAccess;

/// What all dense matrices have in common: elements in one vector, and a shape. Mat is the class
/// itself, Vec its data vector, T the element. Operations go over the stored elements, so for a
/// triangular matrix the part that is always 0 stays 0.
template <class Mat, class Vec, class T>
class KELVO_API MatBody {
  public:
    typedef T value_type;

    /// Number of rows and of columns.
    unsigned rows() const { return rows_; }
    unsigned cols() const { return cols_; }
    /// The stored elements, shared.
    Vec dataVec() { return data_; }
    const Vec dataVec() const { return data_; }
    /// The address of the first stored element; null for none.
    T* data() { return data_.data(); }
    const T* data() const { return data_.data(); }

    /// Makes this matrix another view of the elements of m; takes the shape over.
    Mat& reference(const Mat& m);
    /// A new matrix of the same values with compact elements of its own.
    Mat copy() const;
    Mat deepCopy() const { return copy(); }
    /// Makes this matrix the only owner of compact elements; does nothing when it is.
    void deepenShallowCopy() { data_.deepenShallowCopy(); }
    /// Sets every stored element to 0.
    void zero();

    /// Stores `value` in every stored element.
    Mat& operator=(T value);
    /// Elementwise in place. Shapes must be equal (0x4004). Where m overlaps this matrix its values
    /// before the call count.
    Mat& operator+=(const Mat& m);
    Mat& operator-=(const Mat& m);
    Mat& operator*=(const Mat& m);
    Mat& operator/=(const Mat& m);
    /// With a scalar, in the manner of the vectors: `-=` adds -s, and for doubles `/=` multiplies
    /// by 1/s.
    Mat& operator+=(T s);
    Mat& operator-=(T s);
    Mat& operator*=(T s);
    Mat& operator/=(T s);
    /// Adds 1 to, or takes 1 from, every stored element.
    Mat& operator++();
    Mat& operator--();
    /// The negated elements, new.
    Mat operator-() const;

    /// Elementwise, new and compact. Shapes must be equal (0x4004; the result has the left shape).
    friend Mat operator+(const Mat& a, const Mat& b) { return a.plus(b); }
    friend Mat operator-(const Mat& a, const Mat& b) { return a.minus(b); }
    friend Mat operator*(const Mat& a, const Mat& b) { return a.times(b); }
    friend Mat operator/(const Mat& a, const Mat& b) { return a.over(b); }
    /// With a scalar, new and compact, in the manner of the vectors.
    friend Mat operator+(const Mat& a, T s) { return a.plus(s); }
    friend Mat operator+(T s, const Mat& a) { return a.plus(s); }
    friend Mat operator-(const Mat& a, T s) { return a.minus(s); }
    friend Mat operator-(T s, const Mat& a) { return a.takenFrom(s); }
    friend Mat operator*(const Mat& a, T s) { return a.times(s); }
    friend Mat operator*(T s, const Mat& a) { return a.times(s); }
    friend Mat operator/(const Mat& a, T s) { return a.over(s); }
    friend Mat operator/(T s, const Mat& a) { return a.dividing(s); }
    /// 1 when shapes and all stored elements are equal, else 0; and the reverse.
    friend int operator==(const Mat& a, const Mat& b) { return a.equals(b); }
    friend int operator!=(const Mat& a, const Mat& b) { return !a.equals(b); }
    /// The absolute values, new.
    friend Mat abs(const Mat& a) { return a.magnitudes(); }

    /// Writes rows, "x", columns, " [\n", every row of the full rectangle on a line of its own,
    /// "]". Every element takes the width that the stream had on entry. Packed matrices write their
    /// class name and ", " first.
    void printOn(std::ostream& os) const;
    /// Reads what printOn writes; anything before the first digit is skipped. Takes the shape over
    /// (resize) and writes only cells that change. A count that does not fit the shape, or a stream
    /// that failed, is reported (0x4017) and leaves the matrix as it was.
    void scanFrom(std::istream& is);
    friend std::ostream& operator<<(std::ostream& os, const Mat& a) {
        a.printOn(os);
        return os;
    }
    friend std::istream& operator>>(std::istream& is, Mat& a) {
        a.scanFrom(is);
        return is;
    }

  protected:
    MatBody() = default;
    /// `count` new elements, not initialised; 0 x 0 when there can be none so many.
    MatBody(std::uint64_t count, unsigned rows, unsigned cols);
    MatBody(const Vec& data, unsigned rows, unsigned cols)
        : data_(data), cols_(cols), rows_(rows) {}
    MatBody(const MatBody&) = default;
    /// Values only, between any two shapes: the common leading stored elements when they differ.
    MatBody& operator=(const MatBody& m) {
        assign(m);
        return *this;
    }
    ~MatBody() = default;

    bool contains(int i, int j) const {
        // Negative indices become larger than any count.
        return static_cast<unsigned>(i) < rows_ && static_cast<unsigned>(j) < cols_ && i >= 0 &&
               j >= 0;
    }
    T* cell(std::int64_t position) { return data_.data() + position * data_.stride(); }
    const T* cell(std::int64_t position) const { return data_.data() + position * data_.stride(); }
    T* cellOrScratch(std::int64_t position) const;
    T* reportElement(int i, int j, std::int64_t position) const;
    bool sameShape(unsigned rows, unsigned cols) const;

    Vec data_;
    std::uint32_t cols_ = 0;
    std::uint32_t rows_ = 0;

  private:
    friend struct MatAccess;

    void assign(const MatBody& m);
    int equals(const Mat& m) const;
    Mat plus(const Mat& m) const;
    Mat minus(const Mat& m) const;
    Mat times(const Mat& m) const;
    Mat over(const Mat& m) const;
    Mat plus(T s) const;
    Mat minus(T s) const;
    Mat times(T s) const;
    Mat over(T s) const;
    Mat takenFrom(T s) const;
    Mat dividing(T s) const;
    Mat magnitudes() const;
};

/// The rectangular matrices.
template <class Mat, class Vec, class T, class Pick>
class KELVO_API GenMatBody : public MatBody<Mat, Vec, T> {
  public:
    /// Element (i, j), checked: outside the matrix 0x4005 is reported. When the handler returns,
    /// the cell at place j * rows() + i serves if the data vector has one.
    T bcval(int i, int j) const { return *checked(i, j); }
    void bcset(int i, int j, T value) { *checked(i, j) = value; }
    T& bcref(int i, int j) { return *checked(i, j); }
    /// Element (i, j), unchecked.
    T val(int i, int j) const { return *this->cell(position(i, j)); }
    void set(int i, int j, T value) { *this->cell(position(i, j)) = value; }
    T& ref(int i, int j) { return *this->cell(position(i, j)); }
    T& operator()(int i, int j) { return *this->cell(position(i, j)); }
    T operator()(int i, int j) const { return *this->cell(position(i, j)); }
    /// Unchecked, and the stride of the data vector is ignored: element (i, j) when that is 1.
    T& sub(int i, int j) { return this->data()[position(i, j)]; }
    T sub(int i, int j) const { return this->data()[position(i, j)]; }

    /// Views of a row, a column, and a diagonal: k = 0 the main one, k > 0 the k-th above it, which
    /// starts at (0, k), k < 0 the one below it, which starts at (-k, 0). Unchecked.
    Vec row(int i) { return rowView(i); }
    const Vec row(int i) const { return rowView(i); }
    Vec col(int j) { return colView(j); }
    const Vec col(int j) const { return colView(j); }
    Vec diagonal(int k = 0) { return diagonalView(k); }
    const Vec diagonal(int k = 0) const { return diagonalView(k); }
    /// The same, checked (0x4006, 0x4007; 0x4008 names the diagonal as -k). When the handler
    /// returns, a row or column outside is a vector of zeros of its own, a diagonal is empty.
    Vec bcrow(int i) { return checkedRow(i); }
    const Vec bcrow(int i) const { return checkedRow(i); }
    Vec bccol(int j) { return checkedCol(j); }
    const Vec bccol(int j) const { return checkedCol(j); }
    Vec bcdiagonal(int k = 0) { return checkedDiagonal(k); }
    const Vec bcdiagonal(int k = 0) const { return checkedDiagonal(k); }

    /// A view of the elements (rowIndices(i), colIndices(j)). Each index outside is reported
    /// (0x4001) and then stands for the scratch cell.
    Pick matPick(const IntVec& rowIndices, const IntVec& colIndices);
    const Pick matPick(const IntVec& rowIndices, const IntVec& colIndices) const;
    Pick operator()(const IntVec& rowIndices, const IntVec& colIndices) {
        return matPick(rowIndices, colIndices);
    }
    const Pick operator()(const IntVec& rowIndices, const IntVec& colIndices) const {
        return matPick(rowIndices, colIndices);
    }

    /// Gives the matrix another shape. The common top left block survives, the rest is 0. Other
    /// views keep the old elements. Nothing happens when the shape is the same.
    void resize(unsigned rows, unsigned cols);

    /// Stores the picked values; shapes must be equal (0x4004). A pick of this very matrix gives
    /// the values before the call.
    Mat& operator=(const Pick& pick);
    using MatBody<Mat, Vec, T>::operator=;

  protected:
    GenMatBody() = default;
    GenMatBody(unsigned rows, unsigned cols);
    GenMatBody(unsigned rows, unsigned cols, T value);
    GenMatBody(const T* values, unsigned rows, unsigned cols);
    GenMatBody(const Vec& data, unsigned rows, unsigned cols);
    GenMatBody(const Pick& pick);

  private:
    friend struct MatAccess;

    std::int64_t position(int i, int j) const {
        return std::int64_t{j} * static_cast<std::int64_t>(this->rows_) + i;
    }
    T* checked(int i, int j) const {
        return this->contains(i, j) ? const_cast<T*>(this->cell(position(i, j)))
                                    : this->reportElement(i, j, position(i, j));
    }
    struct Unchecked {};
    GenMatBody(const Vec& data, unsigned rows, unsigned cols, Unchecked);

    Vec strided(std::int64_t start, unsigned n, unsigned step) const;
    Vec rowView(int i) const;
    Vec colView(int j) const;
    Vec diagonalView(int k) const;
    Vec checkedRow(int i) const;
    Vec checkedCol(int j) const;
    Vec checkedDiagonal(int k) const;
};

/// The picks: a matrix and the indices of the rows and columns picked from it.
template <class Pick, class Mat, class T>
class KELVO_API MatPickBody {
  public:
    /// Number of rows and of columns picked.
    unsigned rows() const { return rowIndices_.length(); }
    unsigned cols() const { return colIndices_.length(); }
    /// Element (i, j) of the pick, which is one of the picked matrix; the scratch cell where i, j
    /// or the index behind them is outside.
    T& operator()(int i, int j) { return *cell(i, j); }
    T operator()(int i, int j) const { return *cell(i, j); }
    T& ref(int i, int j) { return *cell(i, j); }
    T val(int i, int j) const { return *cell(i, j); }
    void set(int i, int j, T value) { *cell(i, j) = value; }

    /// Stores a value, or the values of a matrix or pick of equal shape (0x4004), in the picked
    /// elements. Where the right side overlaps them its values before the call count.
    Pick& operator=(T value);
    Pick& operator=(const Mat& m);
    /// Sets the picked elements to 0.
    void zero();

  protected:
    MatPickBody(const Mat& m, const IntVec& rowIndices, const IntVec& colIndices);
    MatPickBody(const MatPickBody&) = default;
    MatPickBody& operator=(const MatPickBody& pick) {
        assign(pick);
        return *this;
    }
    ~MatPickBody() = default;

  private:
    friend struct MatAccess;

    T* cell(int i, int j) const;
    void assign(const MatPickBody& pick);

    Mat matrix_;  // shares the elements of the picked matrix
    IntVec rowIndices_;
    IntVec colIndices_;
};

}  // namespace kelvo::linalg

/// Rectangular matrix of doubles.
class KELVO_API DoubleGenMat
    : public kelvo::linalg::GenMatBody<DoubleGenMat, DoubleVec, double, DoubleGenMatPick> {
    typedef kelvo::linalg::GenMatBody<DoubleGenMat, DoubleVec, double, DoubleGenMatPick> Body;

  public:
    /// 0 x 0.
    DoubleGenMat() = default;
    /// Elements not initialised; NOMEM and 0 x 0 when rows * cols does not fit 32 bits.
    DoubleGenMat(unsigned rows, unsigned cols) : Body(rows, cols) {}
    /// All elements equal to `value`.
    DoubleGenMat(unsigned rows, unsigned cols, double value) : Body(rows, cols, value) {}
    /// Copies rows * cols values that stand column by column.
    DoubleGenMat(const double* values, unsigned rows, unsigned cols) : Body(values, rows, cols) {}
    /// Shares the elements of `data`. A length other than rows * cols is reported (0x400A); when
    /// the handler returns, a longer vector serves with its first elements, a shorter one is copied
    /// and extended with zeros.
    DoubleGenMat(const DoubleVec& data, unsigned rows, unsigned cols) : Body(data, rows, cols) {}
    /// Another view of the same elements.
    DoubleGenMat(const DoubleGenMat&) = default;
    /// The same values, in elements of its own. Of packed matrices the full square, with zeros or
    /// mirrored values in the part that is not stored.
    DoubleGenMat(const IntGenMat& m);
    DoubleGenMat(const DoubleGenMatPick& pick);
    DoubleGenMat(const DoubleSymMat& m);
    DoubleGenMat(const DoubleLowerTriMat& m);
    DoubleGenMat(const DoubleUpperTriMat& m);
    ~DoubleGenMat() = default;

    /// Stores the values of m; shapes must be equal (0x4004; unequal ones then copy the common
    /// leading elements).
    DoubleGenMat& operator=(const DoubleGenMat& m) = default;
    using Body::operator=;

    /// f of every element, new. f must not be null.
    DoubleGenMat apply(double (*f)(double)) const;

  private:
    friend struct kelvo::linalg::MatAccess;
};

/// Rectangular matrix of ints.
class KELVO_API IntGenMat
    : public kelvo::linalg::GenMatBody<IntGenMat, IntVec, int, IntGenMatPick> {
    typedef kelvo::linalg::GenMatBody<IntGenMat, IntVec, int, IntGenMatPick> Body;

  public:
    /// 0 x 0.
    IntGenMat() = default;
    /// As for DoubleGenMat.
    IntGenMat(unsigned rows, unsigned cols) : Body(rows, cols) {}
    IntGenMat(unsigned rows, unsigned cols, int value) : Body(rows, cols, value) {}
    IntGenMat(const int* values, unsigned rows, unsigned cols) : Body(values, rows, cols) {}
    IntGenMat(const IntVec& data, unsigned rows, unsigned cols) : Body(data, rows, cols) {}
    /// Another view of the same elements.
    IntGenMat(const IntGenMat&) = default;
    /// The picked values, in elements of its own.
    IntGenMat(const IntGenMatPick& pick);
    ~IntGenMat() = default;

    /// As for DoubleGenMat.
    IntGenMat& operator=(const IntGenMat& m) = default;
    using Body::operator=;

  private:
    friend struct kelvo::linalg::MatAccess;
};

/// Picked elements of a DoubleGenMat. Made by matPick.
class KELVO_API DoubleGenMatPick
    : public kelvo::linalg::MatPickBody<DoubleGenMatPick, DoubleGenMat, double> {
    typedef kelvo::linalg::MatPickBody<DoubleGenMatPick, DoubleGenMat, double> Body;

  public:
    DoubleGenMatPick(const DoubleGenMatPick&) = default;
    DoubleGenMatPick& operator=(const DoubleGenMatPick& pick) = default;
    using Body::operator=;

  private:
    friend struct kelvo::linalg::MatAccess;
    using Body::Body;
};

/// Picked elements of an IntGenMat. Made by matPick.
class KELVO_API IntGenMatPick : public kelvo::linalg::MatPickBody<IntGenMatPick, IntGenMat, int> {
    typedef kelvo::linalg::MatPickBody<IntGenMatPick, IntGenMat, int> Body;

  public:
    IntGenMatPick(const IntGenMatPick&) = default;
    IntGenMatPick& operator=(const IntGenMatPick& pick) = default;
    using Body::operator=;

  private:
    friend struct kelvo::linalg::MatAccess;
    using Body::Body;
};

namespace kelvo::linalg {

extern template class MatBody<DoubleGenMat, DoubleVec, double>;
extern template class MatBody<IntGenMat, IntVec, int>;
extern template class GenMatBody<DoubleGenMat, DoubleVec, double, DoubleGenMatPick>;
extern template class GenMatBody<IntGenMat, IntVec, int, IntGenMatPick>;
extern template class MatPickBody<DoubleGenMatPick, DoubleGenMat, double>;
extern template class MatPickBody<IntGenMatPick, IntGenMat, int>;

}  // namespace kelvo::linalg

/// Every element truncated toward zero; INT_MIN for what an int cannot hold.
KELVO_API IntGenMat toInt(const DoubleGenMat& m);

/// The transpose, new.
KELVO_API DoubleGenMat transpose(const DoubleGenMat& m);
KELVO_API IntGenMat transpose(const IntGenMat& m);

/// A x, a vector of a.rows(). Needs a.cols() elements in x (0x4014). Where lengths differ, this and
/// the following products sum over the shorter one.
KELVO_API DoubleVec product(const DoubleGenMat& a, const DoubleVec& x);
KELVO_API IntVec product(const IntGenMat& a, const IntVec& x);

/// x'A, a vector of a.cols(). Needs a.rows() elements in x (0x4015).
KELVO_API DoubleVec product(const DoubleVec& x, const DoubleGenMat& a);
KELVO_API IntVec product(const IntVec& x, const IntGenMat& a);

/// A B. Needs a.cols() == b.rows() (0x4016). The inner sums of all products are those of the
/// definition up to rounding: their order and the use of fused operations depend on the processor.
KELVO_API DoubleGenMat product(const DoubleGenMat& a, const DoubleGenMat& b);
KELVO_API IntGenMat product(const IntGenMat& a, const IntGenMat& b);

/// A B'. Needs a.cols() == b.cols() (0x4016).
KELVO_API DoubleGenMat transProduct(const DoubleGenMat& a, const DoubleGenMat& b);
KELVO_API IntGenMat transProduct(const IntGenMat& a, const IntGenMat& b);

/// A'B. Needs a.rows() == b.rows() (0x4016).
KELVO_API DoubleGenMat transposeProduct(const DoubleGenMat& a, const DoubleGenMat& b);
KELVO_API IntGenMat transposeProduct(const IntGenMat& a, const IntGenMat& b);

/// The Kronecker product: block (i, j) is a(i, j) * b.
KELVO_API DoubleGenMat kronecker(const DoubleGenMat& a, const DoubleGenMat& b);
KELVO_API IntGenMat kronecker(const IntGenMat& a, const IntGenMat& b);
