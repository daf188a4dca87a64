kelvo_bench(copy copy_bench.cpp)
