# kelvo_add_module_folder(folder): adds the folder when it holds a CMakeLists.txt.
function(kelvo_add_module_folder folder)
  if(EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/${folder}/CMakeLists.txt)
    add_subdirectory(${folder})
  endif()
endfunction()

function(_kelvo_object_library name library)
  add_library(${name} OBJECT ${ARGN})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include
                                             ${PROJECT_SOURCE_DIR}/libBase/include)
  target_link_libraries(${name} PRIVATE Boost::headers)
  string(TOUPPER ${library} upper)
  target_compile_definitions(${name} PRIVATE ${upper}_BUILDING)
  set_property(GLOBAL APPEND PROPERTY KELVO_OBJECTS_${library} $<TARGET_OBJECTS:${name}>)
endfunction()

# kelvo_module(name source...): a module of libKelvoBase, an object library kelvo_<name>.
function(kelvo_module name)
  _kelvo_object_library(kelvo_${name} KelvoBase ${ARGN})
endfunction()

# kelvo_base_module(name source...): a module of libBase, an object library base_<name>.
function(kelvo_base_module name)
  _kelvo_object_library(base_${name} Base ${ARGN})
endfunction()

# kelvo_simd_module(name source...): sources that are compiled once for every instruction level, in
# the namespace that KELVO_LEVEL names (v2, v3, v4; x86-64 only) beside the plain one (base).
# Object libraries kelvo_<name>_<level>; KELVO_X86_LEVELS is defined for everyone who dispatches.
function(kelvo_simd_module name)
  set(levels base)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
    list(APPEND levels v2 v3 v4)
  endif()
  foreach(level IN LISTS levels)
    kelvo_module(${name}_${level} ${ARGN})
    target_compile_definitions(kelvo_${name}_${level} PRIVATE KELVO_LEVEL=${level})
    target_compile_options(kelvo_${name}_${level} PRIVATE $<$<NOT:$<BOOL:${KELVO_SANITIZE}>>:-O3>)
    if(NOT level STREQUAL base)
      target_compile_options(kelvo_${name}_${level} PRIVATE -march=x86-64-${level})
    endif()
    if(level STREQUAL v4)
      target_compile_options(kelvo_${name}_${level} PRIVATE -mprefer-vector-width=512)
    endif()
  endforeach()
endfunction()

# kelvo_shared_library(name HEADERS_BELOW folder): lib<name>.so from all its modules.
function(kelvo_shared_library name)
  cmake_parse_arguments(arg "" "HEADERS_BELOW" "" ${ARGN})
  get_property(objects GLOBAL PROPERTY KELVO_OBJECTS_${name})
  if(NOT objects)
    set(objects ${CMAKE_CURRENT_BINARY_DIR}/${name}_no_modules.cpp)
    file(WRITE ${objects} "")
  endif()
  add_library(${name} SHARED ${objects})
  add_library(KelvoBase::${name} ALIAS ${name})
  set_target_properties(${name} PROPERTIES VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR} LINKER_LANGUAGE CXX VERIFY_INTERFACE_HEADER_SETS ON)
  file(GLOB_RECURSE headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${arg_HEADERS_BELOW}/*.h)
  target_sources(${name} PUBLIC FILE_SET HEADERS BASE_DIRS
    ${PROJECT_SOURCE_DIR}/${arg_HEADERS_BELOW} FILES ${headers})
  target_compile_features(${name} INTERFACE cxx_std_17)
  target_link_options(${name} PRIVATE -Wl,--no-undefined)
endfunction()

# kelvo_test(name source... [OBJECTS module...] [LIBRARIES target...]): one test program against the
# shared library and tests/support. OBJECTS links modules' objects in for white-box tests.
function(kelvo_test name)
  cmake_parse_arguments(arg "" "" "OBJECTS;LIBRARIES" ${ARGN})
  add_executable(test_${name} ${arg_UNPARSED_ARGUMENTS})
  target_include_directories(test_${name} PRIVATE ${PROJECT_SOURCE_DIR})
  foreach(module IN LISTS arg_OBJECTS)
    target_sources(test_${name} PRIVATE $<TARGET_OBJECTS:${module}>)
  endforeach()
  target_link_libraries(test_${name} PRIVATE kelvo_test_support KelvoBase ${arg_LIBRARIES}
    GTest::gmock GTest::gtest_main)
  add_test(NAME ${name} COMMAND test_${name})
  set_tests_properties(${name} PROPERTIES TIMEOUT 300)
endfunction()

# kelvo_bench(name source... [OBJECTS module...] [LIBRARIES target...]): one benchmark program.
function(kelvo_bench name)
  cmake_parse_arguments(arg "" "" "OBJECTS;LIBRARIES" ${ARGN})
  add_executable(bench_${name} ${arg_UNPARSED_ARGUMENTS})
  target_include_directories(bench_${name} PRIVATE ${PROJECT_SOURCE_DIR})
  foreach(module IN LISTS arg_OBJECTS)
    target_sources(bench_${name} PRIVATE $<TARGET_OBJECTS:${module}>)
  endforeach()
  target_link_libraries(bench_${name} PRIVATE KelvoBase ${arg_LIBRARIES} benchmark::benchmark_main)
endfunction()
