# QR, least squares and singular values beside Eigen and LAPACK (through LAPACKE, on OpenBLAS).
find_library(LAPACKE_LIBRARY lapacke REQUIRED)
find_library(OPENBLAS_LIBRARY openblas REQUIRED)
kelvo_bench(qr_svd qr_svd_bench.cpp
  LIBRARIES Eigen3::Eigen ${LAPACKE_LIBRARY} ${OPENBLAS_LIBRARY})
