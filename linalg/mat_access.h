// What the sources of the matrices share: names, access to the elements, reports, new storage.
#pragma once

#include <cstdint>
#include <type_traits>

#include "KelvoBase/math_error.h"
#include "KelvoBase/packed_mat.h"
#include "linalg/vec_access.h"

namespace kelvo::linalg {

/// The parts of a matrix that are nobody's business outside the linear algebra.
struct MatAccess {
    /// The data vector itself, without taking a reference on it.
    template <class Mat>
    static const auto& data(const Mat& m) {
        return m.data_;
    }

    /// A pick with its indices checked.
    template <class Pick, class Mat>
    static Pick pick(const Mat& m, const IntVec& rowIndices, const IntVec& colIndices) {
        return Pick(m, rowIndices, colIndices);
    }

    /// The picked matrix.
    template <class Pick>
    static const auto& picked(const Pick& pick) {
        return pick.matrix_;
    }

    /// Element (i, j) of m, or the scratch cell.
    template <class Mat>
    static typename Mat::value_type* cellAt(const Mat& m, int i, int j) {
        using T = typename Mat::value_type;
        return m.contains(i, j) ? const_cast<T*>(m.cell(m.position(i, j))) : m.cellOrScratch(-1);
    }
};

template <class Mat>
inline constexpr const char* kClassName = nullptr;
template <>
inline constexpr const char* kClassName<DoubleGenMat> = "DoubleGenMat";
template <>
inline constexpr const char* kClassName<IntGenMat> = "IntGenMat";
template <>
inline constexpr const char* kClassName<DoubleSymMat> = "DoubleSymMat";
template <>
inline constexpr const char* kClassName<DoubleLowerTriMat> = "DoubleLowerTriMat";
template <>
inline constexpr const char* kClassName<DoubleUpperTriMat> = "DoubleUpperTriMat";

template <class Mat>
inline constexpr bool kIsPacked = true;
template <>
inline constexpr bool kIsPacked<DoubleGenMat> = false;
template <>
inline constexpr bool kIsPacked<IntGenMat> = false;

/// Does element (i, j) have a cell of its own? Of a symmetric matrix the lower triangle does.
template <class Mat>
constexpr bool inStoredTriangle(int i, int j) {
    if constexpr (std::is_same_v<Mat, DoubleUpperTriMat>) return i <= j;
    return !kIsPacked<Mat> || j <= i;
}

/// Stored elements of a rectangular and of a packed matrix.
inline std::uint64_t fullSize(unsigned rows, unsigned cols) {
    return std::uint64_t{rows} * cols;
}
inline std::uint64_t packedSize(unsigned n) {
    return std::uint64_t{n} * (std::uint64_t{n} + 1) / 2;
}

/// True for 0 <= i < limit.
inline bool isIndex(int i, unsigned limit) {
    return i >= 0 && static_cast<unsigned>(i) < limit;
}

/// Number of elements of diagonal k; 0 or less when there is none.
inline std::int64_t diagonalLength(unsigned rows, unsigned cols, int k) {
    const std::int64_t height = std::int64_t{rows} + (k < 0 ? k : 0);
    const std::int64_t width = std::int64_t{cols} - (k > 0 ? k : 0);
    return height < width ? height : width;
}

/// Reports a diagonal outside the matrix. Callers rely on the negated index in the message.
template <class Mat>
void checkDiagonal(int k, unsigned rows, unsigned cols) {
    const std::int64_t negated = -std::int64_t{k};
    if (k < std::int64_t{cols} && negated < std::int64_t{rows}) return;
    reportMathErrorId(kMatrixDiagonal, static_cast<int>(negated), kClassName<Mat>, rows, cols);
}

/// True when a vector can hold `count` elements; otherwise NOMEM is reported.
inline bool fitsVector(std::uint64_t count) {
    if (count <= UINT32_MAX) return true;
    reportMathError({kNoMemory, kTerminate, kBlockCode}, "RWBlock");
    return false;
}

/// A new vector of `count` elements, from the further arguments of its constructor; empty after a
/// report when there can be none so long.
template <class Vec, class... Value>
Vec newElements(std::uint64_t count, Value... value) {
    return fitsVector(count) ? Vec(static_cast<unsigned>(count), value...) : Vec();
}

/// v as the `needed` elements of a matrix. Another length is reported; then a longer vector serves
/// with its first elements, a shorter one is copied and extended with zeros.
template <class Mat, class Vec>
Vec fittedElements(const Vec& v, std::uint64_t needed, unsigned rows, unsigned cols) {
    if (v.length() == needed) return v;
    reportMathErrorId(kMatrixPointCount, v.length(), rows, cols, kClassName<Mat>);
    if (!fitsVector(needed)) return Vec();
    const unsigned count = static_cast<unsigned>(needed);
    if (v.length() > count) return VecAccess::slice(v, 0, count, 1);
    Vec extended = v;
    extended.resize(count);
    return extended;
}

/// v itself when its elements are contiguous, else a compact copy.
template <class Vec>
Vec compact(const Vec& v) {
    return v.stride() == 1 ? v : v.copy();
}

/// True when all of `vectors` are contiguous. After NOMEM they may be one cell of stride 0, and
/// kernels must not touch them.
template <class... Vec>
bool areContiguous(const Vec&... vectors) {
    return ((vectors.stride() == 1) && ...);
}

}  // namespace kelvo::linalg
