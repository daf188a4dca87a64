kelvo_bench(vec vec_bench.cpp LIBRARIES Eigen3::Eigen)
# Eigen's best flags (whose intrinsics g++ 12 suspects); the library chooses its own level.
target_compile_options(bench_vec PRIVATE -O3 -march=native -Wno-maybe-uninitialized)
