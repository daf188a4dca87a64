// Sequences and grids of points that keep all coordinates in one DoubleVec.
//   1. A point is a tuple of doubles. The tuple size is the same for all points and at least 1.
//   2. What is handed out as a view shares the storage: writing through it changes the container.
//      What is called new below is an independent copy.
//   3. Copy construction shares the data; assignment copies values into the existing data, which
//      needs equal lengths; both as in DoubleVec (vec.h).
//   4. point() and operator() do not check the index: a view of a point that does not exist must
//      not be read or written. Selections with an index or range that does not exist are empty.
//      operator[] of TtupleVector checks: a bad index is reported through rptError and the process
//      aborts.
//   5. Containers of more than INT_MAX coordinates report NOMEM (vec.h) and stay empty.
#pragma once

#include <iosfwd>

#include "KelvoBase/gen_mat.h"
#include "KelvoBase/kelvo_api.h"
#include "KelvoBase/vec.h"

/// Points one after the other: point i takes elements i * size() to (i + 1) * size() - 1.
class KELVO_API TtupleVector {
  public:
    /// No points; tuple size 1.
    TtupleVector();

    /// tuple * n elements, all `value`; none when `tuple` or `n` is below 1. The tuple size is
    /// raised to 1 only after this product.
    TtupleVector(int tuple, int n, double value);

    /// Copies tuple * n elements from `elements`, which holds point after point. Null is taken as
    /// no points.
    TtupleVector(int tuple, int n, double* elements);

    /// Copies n points; points[i] addresses the `tuple` coordinates of point i. Null is taken as no
    /// points, a null points[i] as zeros.
    TtupleVector(int tuple, int n, double** points);

    /// Shares `elements`. Elements beyond the last whole point belong to none.
    TtupleVector(int tuple, const DoubleVec& elements);

    /// Shares the data of `other`.
    TtupleVector(const TtupleVector& other) = default;

    /// Copies the values of `other` into this object's data and takes its tuple size over.
    /// Different data lengths report VNMATCH (vec.h); the common elements are copied if that
    /// returns.
    TtupleVector& operator=(const TtupleVector& other);

    ~TtupleVector() = default;

    /// The tuple size.
    int size() const { return tupleSize_; }

    /// Number of points, from the length of the data.
    int points() const {
        return static_cast<int>(data_.length() / static_cast<unsigned>(tupleSize_));
    }

    /// All coordinates, a view.
    DoubleVec data() const { return data_; }

    // ---- Single points and coordinates

    /// Point i, a view. Not checked.
    DoubleVec point(int i) const { return viewOf(i, 1); }

    /// Point i, a view. Not checked.
    DoubleVec operator()(int i) const { return viewOf(i, 1); }

    /// Point i, a view. A bad index ends the process.
    DoubleVec operator[](int i) const;

    /// Coordinate c of every point, a view; empty unless 0 <= c < size().
    DoubleVec component(int c) const;

    /// The Euclidean length of every point, new.
    DoubleVec vecLen() const;

    // ---- Selections, all of the same tuple size unless said otherwise

    /// Points start to start + count - 1, a view; empty when count is 0 or a point does not exist.
    TtupleVector lPoints(int start, int count) const;

    /// The same points as lPoints(), new.
    TtupleVector rPoints(int start, int count) const;

    /// Point indices(0), indices(1), ..., new; empty when one does not exist.
    TtupleVector rPoints(const IntVec& indices) const;

    /// Every point reduced to coordinates indices(0), indices(1), ..., new, of tuple size
    /// indices.length(). Without points and of this tuple size when the list is empty or a
    /// coordinate does not exist.
    TtupleVector components(const IntVec& indices) const;

    /// Every point reduced to coordinates first to first + count - 1, as above.
    TtupleVector components(int first, int count) const;

    /// Copies point k of `source` into point start + k for k from 0 to count - 1, as far as
    /// `source` has points. Of points of a smaller tuple size, the leading coordinates change.
    /// Returns 1 when done or count is 0; 0 and unchanged when source.size() > size() or a target
    /// does not exist.
    int setPoints(int start, int count, const TtupleVector& source);

    /// The same with point indices(k) as the target of point k of `source`.
    int setPoints(const IntVec& indices, const TtupleVector& source);

    // ---- Storage

    /// An independent copy.
    TtupleVector copy() const;

    /// Makes this object a view of the data of `other`, with its tuple size.
    void reference(const TtupleVector& other);

    /// Gives this object data of its own if it shares them.
    void deepenShallowCopy();

    // ---- Text, in the form of DoubleVec

    /// Writes the data vector.
    void printOn(std::ostream& stream) const;

    /// The same as printOn().
    void printRaw(std::ostream& stream) const;

    /// Reads a data vector; the tuple size stays. Views taken before keep the former data.
    void readRaw(std::istream& stream);

  protected:
    /// 1 when point i exists.
    int correctIndex(int i) const;

    /// 1 when coordinate c exists.
    int correctTuple(int c) const;

    /// Returns when point i exists; otherwise reports "bad index" and aborts the process.
    void boundsCheck(int i) const;

  private:
    // `count` points from `start` on, unchecked.
    DoubleVec viewOf(int start, int count) const {
        return DoubleVec(data_, static_cast<int>(int64{start} * tupleSize_),
                         static_cast<unsigned>(count * tupleSize_), 1);
    }
    TtupleVector none() const { return TtupleVector(tupleSize_, DoubleVec()); }
    void copyPoint(int to, const TtupleVector& source, int from);
    TtupleVector apartFrom(const TtupleVector& other) const;

    int tupleSize_ = 1;
    DoubleVec data_;
};

/// A grid of points, column after column: the point at row r and column c begins at element
/// (rows() * c + r) * size().
class KELVO_API TtupleMatrix {
  public:
    /// No rows, no columns; tuple size 1.
    TtupleMatrix();

    /// All coordinates `value`. A tuple size below 1 is taken as 1, negative counts as 0.
    TtupleMatrix(int tuple, int rows, int cols, double value);

    /// Shares `elements`, which should hold tuple * rows * cols elements: of more, the first ones
    /// serve; fewer are copied and extended with zeros.
    TtupleMatrix(int tuple, int rows, int cols, const DoubleVec& elements);

    /// Shares the data of `other`.
    TtupleMatrix(const TtupleMatrix& other) = default;

    /// Copies the values of `other` into this object's data and takes its tuple size and shape
    /// over. Different data lengths report VNMATCH (vec.h); if that returns, the common elements
    /// are copied and the shape stays.
    TtupleMatrix& operator=(const TtupleMatrix& other);

    ~TtupleMatrix() = default;

    /// The tuple size.
    int size() const { return tupleSize_; }

    /// Number of rows.
    int rows() const { return rows_; }

    /// Number of columns.
    int cols() const { return cols_; }

    /// All coordinates, a view.
    DoubleVec data() const { return data_; }

    // ---- Points, rows, columns

    /// The point at row r and column c, a view. Not checked.
    DoubleVec point(int r, int c) const { return viewOf(r, c, 1); }

    /// The point at row r and column c, a view. Not checked.
    DoubleVec operator()(int r, int c) const { return viewOf(r, c, 1); }

    /// All coordinates of the points of row r in the order of the columns, new, since they do not
    /// lie evenly spaced. Empty when there is no such row.
    DoubleVec row(int r) const;

    /// All coordinates of the points of column c, a view; empty when there is no such column.
    DoubleVec column(int c) const;

    /// row(r) as points.
    TtupleVector rowVector(int r) const;

    /// column(c) as points, a view.
    TtupleVector columnVector(int c) const;

    // ---- Coordinates

    /// Coordinate k of every point, rows() x cols(), a view; 0 x 0 unless 0 <= k < size().
    DoubleGenMat component(int k) const;

    /// Writes coordinate k of every point. Returns 1 when done; 0 and unchanged when there is no
    /// such coordinate or `m` is not rows() x cols().
    int setComponent(int k, const DoubleGenMat& m);

    /// The Euclidean length of every point, rows() x cols(), new.
    DoubleGenMat vecLen() const;

    // ---- Selections, new

    /// Rows indices(0), indices(1), ...; no rows and no columns when one does not exist.
    TtupleMatrix rows(const IntVec& indices) const;

    /// Columns indices(0), indices(1), ...; no rows and no columns when one does not exist.
    TtupleMatrix cols(const IntVec& indices) const;

    // ---- Storage

    /// An independent copy.
    TtupleMatrix copy() const;

    /// Makes this object a view of the data of `other`, with its shape.
    void reference(const TtupleMatrix& other);

    /// Gives this object data of its own if it shares them.
    void deepenShallowCopy();

  protected:
    /// 1 when coordinate k exists.
    int correctTuple(int k) const;

    /// 1 when row r exists.
    int correctRow(int r) const;

    /// 1 when column c exists.
    int correctCol(int c) const;

    /// Returns when the point exists; otherwise reports "bad row" or, with a good row, "bad
    /// column", and aborts the process.
    void boundsCheck(int r, int c) const;

  private:
    // `count` points of column c from row r on, unchecked.
    DoubleVec viewOf(int r, int c, int count) const {
        return DoubleVec(data_, static_cast<int>((int64{rows_} * c + r) * tupleSize_),
                         static_cast<unsigned>(count * tupleSize_), 1);
    }
    TtupleMatrix none() const { return TtupleMatrix(tupleSize_, 0, 0, DoubleVec()); }

    int tupleSize_ = 1;
    int rows_ = 0;
    int cols_ = 0;
    DoubleVec data_;
};
