# LU, Cholesky and the symmetric factorization beside Eigen and LAPACK (LAPACKE, on OpenBLAS).
kelvo_bench(factorizations factorizations_bench.cpp LIBRARIES Eigen3::Eigen lapacke openblas)
# Eigen's best flags (whose intrinsics g++ 12 suspects); the library chooses its own level.
target_compile_options(bench_factorizations PRIVATE -O3 -march=native -Wno-maybe-uninitialized)
