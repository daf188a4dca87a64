kelvo_bench(mat mat_bench.cpp LIBRARIES Eigen3::Eigen openblas)
