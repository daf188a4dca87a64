#include "KelvoBase/matrix4.h"

#include <cmath>

#include "geometry/invert.h"

T4dDblMatrix& T4dDblMatrix::invertIt() {
    kelvo::geometry::invert4(m_[0], m_[0]);
    return *this;
}

T4dDblMatrix T4dDblMatrix::inverse() const {
    T4dDblMatrix r(kBlank);
    kelvo::geometry::invert4(m_[0], r.m_[0]);
    return r;
}

T4dDblMatrix& T4dDblMatrix::axisRotateIt(const T4dDblVector& a, double angle) {
    if (angle == 0.0) return *this;
    T4dDblMatrix turn;
    return premultBy(turn.setToAxisRotate(a, angle));
}

int T4dDblMatrix::equivalent(const T4dDblMatrix& m, double tol) const {
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) {
            if (!(std::fabs(m_[i][j] - m.m_[i][j]) <= tol)) return 0;
        }
    }
    return 1;
}

int T4dDblMatrix::operator==(const T4dDblMatrix& m) const {
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) {
            if (!(m_[i][j] == m.m_[i][j])) return 0;
        }
    }
    return 1;
}

void T4dDblMatrix::copyToFloat(float to[4][4]) const {
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) to[i][j] = static_cast<float>(m_[i][j]);
    }
}

void T4dDblMatrix::setFromFloat(const float from[4][4]) {
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) m_[i][j] = static_cast<double>(from[i][j]);
    }
}

void T4dDblMatrix::setFromDouble(const double from[4][4]) {
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) m_[i][j] = from[i][j];
    }
}

void T4dDblMatrix::print(FILE* to) const {
    if (!to) return;
    for (const double(&row)[4] : m_) {
        std::fprintf(to, "%g %g %g %g\n", row[0], row[1], row[2], row[3]);
    }
}
