kelvo_bench(vec vec_bench.cpp LIBRARIES Eigen3::Eigen)
