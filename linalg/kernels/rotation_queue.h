// Plane rotations of the columns of U or V that wait until some sweeps have come together: a column is
// then loaded once for several of them (Van Zee, van de Geijn, Quintana-Orti: Restructuring the
// tridiagonal and bidiagonal QR algorithms for performance, ACM TOMS 40, 2014). Private to the SVD.
#pragma once

#include <cstddef>

namespace kelvo::kernels {

/// The columns that follow the iteration: U or V. `a` is null when they are not wanted.
struct Rotated {
    double* a;
    std::ptrdiff_t lda;
    int rows, columns;
};

/// A plane rotation: x and y become c x + s y and c y - s x.
struct Rotation {
    double c, s;
};

class RotationQueue {
  public:
    /// Doubles of scratch for a bidiagonal matrix of order m.
    static std::size_t work(int m);

    /// Without scratch nothing waits.
    RotationQueue(const Rotated& target, int m, double* work);

    /// A sweep of rotations begins, of columns within begin .. last.
    void beginSweep(int begin, int last);

    /// The next rotation of the sweep, of columns k and k + 1; k goes up from `begin`. Its cosine is
    /// not near -1.
    void add(int k, const Rotation& g);

    /// Applies what waits.
    void flush();

    /// Rotates any two columns, at once. Nothing may wait.
    void rotateNow(int i, int j, const Rotation& g) const;

  private:
    // Sweeps whose columns lie within begin .. last.
    struct Group {
        int begin, last, sweeps;
    };
    static constexpr int kMostGroups = 8;

    bool fits(const Group& group, int begin, int last) const;
    double* rotationsOf(int group) const;

    Rotated target_;
    double* work_;  // for each group the rotations in the order of use, see ReflectionTable
    std::size_t groupSize_;
    Group groups_[kMostGroups] = {};
    int groupCount_ = 0;
    int firstColumn_ = 0;
    double* sweep_ = nullptr;  // where the rotation of firstColumn_ of the sweep at hand stands
};

}  // namespace kelvo::kernels
