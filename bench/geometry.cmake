# Small geometry beside Imath, glm and Eigen: the same source and flags for all, once for every
# x86-64 processor and once for those with AVX2.
find_package(Imath 3.1 REQUIRED CONFIG)
find_path(GLM_INCLUDE_DIR glm/glm.hpp REQUIRED)

set(geometry_benches geometry)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
  list(APPEND geometry_benches geometry_v3)
endif()
foreach(name IN LISTS geometry_benches)
  kelvo_bench(${name} ${CMAKE_CURRENT_LIST_DIR}/geometry_ops.cpp
    LIBRARIES Imath::Imath Eigen3::Eigen)
  # Contraction as a compiler has it by default: the bodies are inline, so that users get the same.
  target_compile_options(bench_${name} PRIVATE -ffp-contract=fast)
  target_include_directories(bench_${name} SYSTEM PRIVATE ${GLM_INCLUDE_DIR})
endforeach()
if(TARGET bench_geometry_v3)
  target_compile_options(bench_geometry_v3 PRIVATE -march=x86-64-v3)
endif()
