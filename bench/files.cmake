kelvo_bench(files files_bench.cpp)
