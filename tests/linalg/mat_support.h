// Short texts of matrices and vectors, for comparison.
#pragma once

#include <sstream>
#include <string>

#include "KelvoBase/packed_mat.h"

namespace kelvo::test {

/// 1 2 3 ...
inline DoubleVec counting(unsigned n) {
    return DoubleVec(n, 1.0, 1.0);
}

/// "1 2 3"
template <class Vec>
requires requires(const Vec& v) {
    v.length();
}
std::string text(const Vec& v) {
    std::ostringstream os;
    for (int i = 0; i < static_cast<int>(v.length()); ++i) os << (i > 0 ? " " : "") << v(i);
    return os.str();
}

/// The rows of the full rectangle: "1 2|3 4"
template <class Mat>
requires requires(const Mat& m) {
    m.rows();
}
std::string text(const Mat& m) {
    std::ostringstream os;
    for (int i = 0; i < static_cast<int>(m.rows()); ++i)
        for (int j = 0; j < static_cast<int>(m.cols()); ++j)
            os << (j > 0 ? " " : i > 0 ? "|" : "") << m.val(i, j);
    return os.str();
}

/// What operator<< writes.
template <class T>
std::string printed(const T& value) {
    std::ostringstream os;
    os << value;
    return os.str();
}

}  // namespace kelvo::test
