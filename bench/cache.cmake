# The file cache's server beside redis and memcached, where these are installed. A program of its
# own: it measures processes, not functions.
if(TARGET zocached)
  add_executable(bench_cache cache_bench.cpp)
  target_include_directories(bench_cache PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(bench_cache PRIVATE KelvoBase)
  add_dependencies(bench_cache zocached)
endif()
