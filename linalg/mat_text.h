// Text input of matrices.
#pragma once

#include <iosfwd>

#include "linalg/mat_access.h"

namespace kelvo::linalg {

/// The shape at the head of a printed matrix.
struct TextShape {
    unsigned rows = 0;
    unsigned cols = 0;
};

/// Skips to the first digit and reads "3x4". What cannot be read stays 0 and the stream has failed.
TextShape readShape(std::istream& is);

/// Takes the shape over and stores `values`, row after row. Cells that hold the value already are
/// left alone. A packed matrix keeps its triangle; when the shape is not square that is reported
/// (0x400D) and nothing changes.
template <class Mat, class Vec>
void storeRows(Mat& m, const Vec& values, const TextShape& shape) {
    if (kIsPacked<Mat> && shape.rows != shape.cols) {
        reportMathErrorId(kMatrixNotSquare, shape.rows, shape.cols);
        return;
    }
    m.resize(shape.rows, shape.cols);
    for (int i = 0; i < static_cast<int>(shape.rows); ++i) {
        for (int j = 0; j < static_cast<int>(shape.cols); ++j) {
            if (!inStoredTriangle<Mat>(i, j)) continue;
            const auto value = values(i * static_cast<int>(shape.cols) + j);
            if (m.val(i, j) != value) m.bcset(i, j, value);
        }
    }
}

}  // namespace kelvo::linalg
