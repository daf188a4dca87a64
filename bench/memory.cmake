kelvo_bench(memory memory_bench.cpp)
