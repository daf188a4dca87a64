#include <KelvoBase/KelvoBase.h>

#include <iostream>

int main() {  // the line a + b x closest to five points
    const double x[] = {0, 1, 2, 3, 4}, y[] = {1.1, 2.9, 5.2, 6.8, 9.1};
    DoubleGenMat design(5, 2, 1.0);   // a column of ones ...
    design.col(1) = DoubleVec(x, 5);  // ... and one that is written through a view
    DoubleLeastSqQR fit(design);      // Householder QR
    const DoubleVec observed(y, 5);
    std::cout << "a, b = " << fit.solve(observed) << "\nresidual "
              << fit.residual(observed).vecLen() << '\n';
}
