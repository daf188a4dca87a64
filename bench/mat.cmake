kelvo_bench(mat mat_bench.cpp LIBRARIES Eigen3::Eigen openblas)
# As for vectors.
target_compile_options(bench_mat PRIVATE -O3 -march=native -Wno-maybe-uninitialized)
