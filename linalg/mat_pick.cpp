// The picks of the rectangular matrices.
#include <algorithm>

#include "linalg/mat_access.h"

namespace kelvo::linalg {
namespace {

// Callers rely on the order of the reports: from the last index to the first.
void checkIndices(const IntVec& indices, unsigned limit) {
    for (int k = static_cast<int>(indices.length()) - 1; k >= 0; --k)
        if (!isIndex(indices(k), limit))
            reportMathErrorId(kMatrixPickRange, indices(k), static_cast<int>(limit) - 1);
}

bool sameShape(unsigned rows, unsigned cols, unsigned otherRows, unsigned otherCols) {
    if (rows == otherRows && cols == otherCols) return true;
    reportMathErrorId(kMatrixSizes, rows, cols, otherRows, otherCols);
    return false;
}

}  // namespace

template <class Pick, class Mat, class T>
MatPickBody<Pick, Mat, T>::MatPickBody(const Mat& m, const IntVec& rowIndices,
                                       const IntVec& colIndices)
    : matrix_(m), rowIndices_(rowIndices), colIndices_(colIndices) {
    checkIndices(rowIndices_, m.rows());
    checkIndices(colIndices_, m.cols());
}

template <class Pick, class Mat, class T>
T* MatPickBody<Pick, Mat, T>::cell(int i, int j) const {
    const bool exists = isIndex(i, rows()) && isIndex(j, cols());
    return MatAccess::cellAt(matrix_, exists ? rowIndices_(i) : -1, exists ? colIndices_(j) : -1);
}

template <class Pick, class Mat, class T>
Pick& MatPickBody<Pick, Mat, T>::operator=(T value) {
    for (int j = 0; j < static_cast<int>(cols()); ++j)
        for (int i = 0; i < static_cast<int>(rows()); ++i) set(i, j, value);
    return static_cast<Pick&>(*this);
}

template <class Pick, class Mat, class T>
Pick& MatPickBody<Pick, Mat, T>::operator=(const Mat& m) {
    sameShape(rows(), cols(), m.rows(), m.cols());
    const bool overlaps = VecAccess::sameBlock(MatAccess::data(m), MatAccess::data(matrix_));
    const Mat values = overlaps ? m.copy() : m;
    for (int j = 0; j < static_cast<int>(std::min(cols(), m.cols())); ++j)
        for (int i = 0; i < static_cast<int>(std::min(rows(), m.rows())); ++i)
            set(i, j, values.val(i, j));
    return static_cast<Pick&>(*this);
}

template <class Pick, class Mat, class T>
void MatPickBody<Pick, Mat, T>::assign(const MatPickBody& pick) {
    *this = Mat(static_cast<const Pick&>(pick));
}

template <class Pick, class Mat, class T>
void MatPickBody<Pick, Mat, T>::zero() {
    *this = T(0);
}

template class MatPickBody<DoubleGenMatPick, DoubleGenMat, double>;
template class MatPickBody<IntGenMatPick, IntGenMat, int>;

}  // namespace kelvo::linalg
