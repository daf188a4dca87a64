# QR, least squares and singular values beside Eigen and LAPACK (through LAPACKE, on OpenBLAS).
find_library(LAPACKE_LIBRARY lapacke REQUIRED)
find_library(OPENBLAS_LIBRARY openblas REQUIRED)
kelvo_bench(qr_svd qr_svd_bench.cpp
  LIBRARIES Eigen3::Eigen ${LAPACKE_LIBRARY} ${OPENBLAS_LIBRARY})
# Eigen's best flags (whose intrinsics g++ 12 suspects); the library chooses its own level.
target_compile_options(bench_qr_svd PRIVATE -O3 -march=native -Wno-maybe-uninitialized)
