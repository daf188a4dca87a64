// Square matrices of double that store one triangle: symmetric, lower and upper triangular.
//   1. Lower and symmetric matrices are packed row by row: element (i, j) with j <= i is stored
//      element i(i+1)/2 + j. Upper ones are packed column by column: (i, j) with i <= j is stored
//      element j(j+1)/2 + i. So the first k(k+1)/2 stored elements are the leading k x k triangle.
//   2. The other triangle of a triangular matrix is 0 and not stored. A symmetric matrix has one
//      cell for (i, j) and (j, i).
//   3. Copies share, assignment writes values, checks report: as for DoubleGenMat (gen_mat.h).
#pragma once

#include "KelvoBase/gen_mat.h"

/// An element of a triangular matrix: a cell that can be written, or the 0 outside the triangle,
/// which can only be read. Valid as long as the elements that it refers to.
class KELVO_API RODRef {
  public:
    RODRef(double* cell, int readOnly) : cell_(cell), readOnly_(readOnly) {}
    RODRef(const RODRef&) = default;

    /// The value.
    operator double() const { return *cell_; }
    /// 1 when the element can only be read, else 0.
    int isReadOnly() const { return readOnly_; }

    /// Writes the value. An element that can only be read keeps its 0, and a value that differs
    /// from it is reported (0x4002).
    RODRef& operator=(double value) {
        if (readOnly_)
            refuse(value);
        else
            *cell_ = value;
        return *this;
    }
    RODRef& operator=(const RODRef& other) { return *this = *other.cell_; }
    RODRef& operator+=(double value) { return *this = *cell_ + value; }
    RODRef& operator-=(double value) { return *this = *cell_ - value; }
    RODRef& operator*=(double value) { return *this = *cell_ * value; }
    RODRef& operator/=(double value) { return *this = *cell_ / value; }

  private:
    void refuse(double value) const;

    double* cell_;  // borrowed
    int readOnly_;
};

namespace kelvo::linalg {

/// How a symmetric matrix stores its elements and hands them out.
struct KELVO_API SymPacking {
    typedef double& Reference;
    static bool isStored(int, int) { return true; }
    static std::int64_t position(int i, int j) {
        const std::int64_t row = i < j ? j : i;
        return row * (row + 1) / 2 + (i < j ? i : j);
    }
    static double& reference(double* cell, bool) { return *cell; }
};

/// The same for a lower triangular matrix.
struct KELVO_API LowerPacking {
    typedef RODRef Reference;
    static bool isStored(int i, int j) { return j <= i; }
    static std::int64_t position(int i, int j) {
        const std::int64_t row = i;
        return row * (row + 1) / 2 + j;
    }
    static RODRef reference(double* cell, bool stored) { return RODRef(cell, !stored); }
};

/// The same for an upper triangular matrix.
struct KELVO_API UpperPacking {
    typedef RODRef Reference;
    static bool isStored(int i, int j) { return i <= j; }
    static std::int64_t position(int i, int j) { return LowerPacking::position(j, i); }
    static RODRef reference(double* cell, bool stored) { return RODRef(cell, !stored); }
};

/// What the three packed matrices have in common. Packing is one of the structures above.
template <class Mat, class Packing>
class KELVO_API PackedMatBody : public MatBody<Mat, DoubleVec, double> {
  public:
    /// A reference to an element: double& for a symmetric matrix, RODRef for a triangular one.
    typedef typename Packing::Reference Reference;

    /// Element (i, j), checked: outside the matrix 0x4005 is reported, and the computed cell serves
    /// if there is one. bcset outside the stored triangle is reported too (0x4009), and then
    /// stores at the packed place of (i, j) all the same.
    double bcval(int i, int j) const { return *read(i, j, true); }
    void bcset(int i, int j, double value);
    Reference bcref(int i, int j) { return refer(i, j, true); }
    /// Element (i, j), unchecked. set stores at the packed place of (i, j), which for an element
    /// outside the triangle is the cell of another one.
    double val(int i, int j) const { return *read(i, j, false); }
    void set(int i, int j, double value) { *this->cell(Packing::position(i, j)) = value; }
    Reference ref(int i, int j) { return refer(i, j, false); }
    Reference operator()(int i, int j) { return refer(i, j, false); }
    double operator()(int i, int j) const { return *read(i, j, false); }

    /// A row, a column and a diagonal of the full square, counted as for DoubleGenMat. Their
    /// elements are not evenly spaced here, so these are copies.
    DoubleVec row(int i) const;
    DoubleVec col(int j) const;
    DoubleVec diagonal(int k = 0) const;
    /// The same, checked (0x4006, 0x4007; 0x4008 names the diagonal as -k). When the handler
    /// returns, a row or column outside is zeros, a diagonal is empty.
    DoubleVec bcrow(int i) const;
    DoubleVec bccol(int j) const;
    DoubleVec bcdiagonal(int k = 0) const;

    /// The leading k x k matrix, a view. Unless 0 <= k <= rows() 0x4018 is reported, and the result
    /// has order 0.
    Mat leadingSubmatrix(int k);
    const Mat leadingSubmatrix(int k) const;

    /// Gives the matrix order n, which m must equal (0x400D). The leading triangle survives, the
    /// rest is 0. Other views keep the old elements.
    void resize(unsigned n, unsigned m);

    /// f of every stored element, new. f must not be null.
    Mat apply(double (*f)(double)) const;

    using MatBody<Mat, DoubleVec, double>::operator=;

  protected:
    PackedMatBody() = default;
    PackedMatBody(unsigned n, unsigned m);
    PackedMatBody(unsigned n, unsigned m, double value);
    PackedMatBody(const DoubleVec& data, unsigned n, unsigned m);

  private:
    friend struct MatAccess;

    PackedMatBody(const DoubleVec& data, unsigned n);

    static double* sharedZero();
    const double* read(int i, int j, bool checking) const {
        return const_cast<PackedMatBody*>(this)->locate(i, j, checking);
    }
    Reference refer(int i, int j, bool checking) {
        return Packing::reference(locate(i, j, checking), Packing::isStored(i, j));
    }
    double* locate(int i, int j, bool checking) {
        if (checking && !this->contains(i, j)) return locateOutside(i, j);
        return Packing::isStored(i, j) ? this->cell(Packing::position(i, j)) : sharedZero();
    }
    double* locateOutside(int i, int j);
};

}  // namespace kelvo::linalg

/// Symmetric matrix.
class KELVO_API DoubleSymMat
    : public kelvo::linalg::PackedMatBody<DoubleSymMat, kelvo::linalg::SymPacking> {
    typedef kelvo::linalg::PackedMatBody<DoubleSymMat, kelvo::linalg::SymPacking> Body;

  public:
    /// Order 0.
    DoubleSymMat() = default;
    /// Order n, which m must equal (0x400D; n counts then). Elements not initialised.
    DoubleSymMat(unsigned n, unsigned m) : Body(n, m) {}
    /// All elements equal to `value`.
    DoubleSymMat(unsigned n, unsigned m, double value) : Body(n, m, value) {}
    /// Shares the elements of `data`, which must have n(n+1)/2 (0x400A, as for DoubleGenMat).
    DoubleSymMat(const DoubleVec& data, unsigned n, unsigned m) : Body(data, n, m) {}
    /// Another view of the same elements.
    DoubleSymMat(const DoubleSymMat&) = default;
    ~DoubleSymMat() = default;

    /// Stores the values of m; orders must be equal (0x4004).
    DoubleSymMat& operator=(const DoubleSymMat& m) = default;
    using Body::operator=;

  private:
    friend struct kelvo::linalg::MatAccess;
};

/// Lower triangular matrix. Members as for DoubleSymMat.
class KELVO_API DoubleLowerTriMat
    : public kelvo::linalg::PackedMatBody<DoubleLowerTriMat, kelvo::linalg::LowerPacking> {
    typedef kelvo::linalg::PackedMatBody<DoubleLowerTriMat, kelvo::linalg::LowerPacking> Body;

  public:
    DoubleLowerTriMat() = default;
    DoubleLowerTriMat(unsigned n, unsigned m) : Body(n, m) {}
    DoubleLowerTriMat(const DoubleVec& data, unsigned n, unsigned m) : Body(data, n, m) {}
    DoubleLowerTriMat(const DoubleLowerTriMat&) = default;
    ~DoubleLowerTriMat() = default;
    DoubleLowerTriMat& operator=(const DoubleLowerTriMat& m) = default;
    using Body::operator=;

  private:
    friend struct kelvo::linalg::MatAccess;
};

/// Upper triangular matrix. Members as for DoubleSymMat.
class KELVO_API DoubleUpperTriMat
    : public kelvo::linalg::PackedMatBody<DoubleUpperTriMat, kelvo::linalg::UpperPacking> {
    typedef kelvo::linalg::PackedMatBody<DoubleUpperTriMat, kelvo::linalg::UpperPacking> Body;

  public:
    DoubleUpperTriMat() = default;
    DoubleUpperTriMat(unsigned n, unsigned m) : Body(n, m) {}
    DoubleUpperTriMat(const DoubleVec& data, unsigned n, unsigned m) : Body(data, n, m) {}
    DoubleUpperTriMat(const DoubleUpperTriMat&) = default;
    ~DoubleUpperTriMat() = default;
    DoubleUpperTriMat& operator=(const DoubleUpperTriMat& m) = default;
    using Body::operator=;

  private:
    friend struct kelvo::linalg::MatAccess;
};

namespace kelvo::linalg {

extern template class MatBody<DoubleSymMat, DoubleVec, double>;
extern template class MatBody<DoubleLowerTriMat, DoubleVec, double>;
extern template class MatBody<DoubleUpperTriMat, DoubleVec, double>;
extern template class PackedMatBody<DoubleSymMat, SymPacking>;
extern template class PackedMatBody<DoubleLowerTriMat, LowerPacking>;
extern template class PackedMatBody<DoubleUpperTriMat, UpperPacking>;

}  // namespace kelvo::linalg

/// The symmetric part of m: (m(i, j) + m(j, i)) / 2. The order is m.cols(); what m lacks reads as
/// 0.
KELVO_API DoubleSymMat toSymMat(const DoubleGenMat& m);
/// The triangle of m; the rest of it is ignored. The order is m.cols(); what m lacks reads as 0.
KELVO_API DoubleLowerTriMat toLowerTriMat(const DoubleGenMat& m);
KELVO_API DoubleUpperTriMat toUpperTriMat(const DoubleGenMat& m);

/// The transpose, a view of the same elements.
KELVO_API DoubleSymMat transpose(const DoubleSymMat& m);
KELVO_API DoubleUpperTriMat transpose(const DoubleLowerTriMat& m);
KELVO_API DoubleLowerTriMat transpose(const DoubleUpperTriMat& m);

/// A x. Needs a.cols() elements in x (0x4014); where lengths differ, the shorter one counts.
KELVO_API DoubleVec product(const DoubleSymMat& a, const DoubleVec& x);
KELVO_API DoubleVec product(const DoubleLowerTriMat& a, const DoubleVec& x);
KELVO_API DoubleVec product(const DoubleUpperTriMat& a, const DoubleVec& x);

/// x'A. Needs a.rows() elements in x (0x4015); where lengths differ, the shorter one counts.
KELVO_API DoubleVec product(const DoubleVec& x, const DoubleSymMat& a);
KELVO_API DoubleVec product(const DoubleVec& x, const DoubleLowerTriMat& a);
KELVO_API DoubleVec product(const DoubleVec& x, const DoubleUpperTriMat& a);
