# Proves the library is consumable: a tiny host project that pulls plexa in with
# add_subdirectory, one that finds an installed plexa with find_package(plexa CONFIG), and,
# given the project's own build (PLEXA_BUILD, with PLEXA_TOOL true when it has the tool), an
# installed tree moved elsewhere: its bin/plexa runs without LD_LIBRARY_PATH and its plexa.pc
# gives pkg-config flags that build and run the host.
# Run by ctest as: cmake -DPLEXA_SOURCE=<repo> -DWORK=<scratch dir> [-DPLEXA_BUILD=<build>
#   -DPLEXA_TOOL=1] -P check_consumer.cmake
file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK}/src)
file(WRITE ${WORK}/src/main.cpp [=[
#include "plexa/plexa.h"
#include <cstdio>
int main() {
  CArray<PLEXA::CDPOINT, PLEXA::CDPOINT> pts;
  pts.Add(PLEXA::CDPOINT(1, 2));
  CView3D view;
  view.Translate(-1, 0, 0);
  view.Transfer(pts[0].x, pts[0].y, 0);
  std::printf("%g %g\n", view.x(), view.y());
  return view.x() == 2.0 ? 0 : 1;
}
]=])
file(WRITE ${WORK}/src/CMakeLists.txt [=[
cmake_minimum_required(VERSION 3.20)
project(consumer CXX)
if(USE_SUBDIR)
  add_subdirectory(${PLEXA_SOURCE} plexa)
else()
  find_package(plexa CONFIG REQUIRED)
endif()
add_executable(consumer main.cpp)
target_link_libraries(consumer PRIVATE plexa::plexa)
]=])

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGN}\n${out}")
  endif()
endfunction()

# 1. add_subdirectory: the library alone is built (no tests, tools or benchmarks).
run(${CMAKE_COMMAND} -S ${WORK}/src -B ${WORK}/sub -DUSE_SUBDIR=ON -DPLEXA_SOURCE=${PLEXA_SOURCE})
run(${CMAKE_COMMAND} --build ${WORK}/sub -j 2)
if(EXISTS ${WORK}/sub/plexa/plexa_tests)
  message(FATAL_ERROR "add_subdirectory built plexa's own tests")
endif()
run(${WORK}/sub/consumer)

# 2. install, then find_package against the installed tree.
run(${CMAKE_COMMAND} --install ${WORK}/sub/plexa --prefix ${WORK}/prefix)
run(${CMAKE_COMMAND} -S ${WORK}/src -B ${WORK}/pkg -DCMAKE_PREFIX_PATH=${WORK}/prefix)
run(${CMAKE_COMMAND} --build ${WORK}/pkg)
set(ENV{LD_LIBRARY_PATH} ${WORK}/prefix/lib:${WORK}/prefix/lib64)
run(${WORK}/pkg/consumer)
file(GLOB pc ${WORK}/prefix/*/pkgconfig/plexa.pc ${WORK}/prefix/lib/*/pkgconfig/plexa.pc)
if(NOT pc)
  message(FATAL_ERROR "no pkg-config file installed")
endif()
unset(ENV{LD_LIBRARY_PATH})

# 3. The project's own install, moved after installing: the tool and pkg-config.
if(PLEXA_BUILD AND PLEXA_TOOL)
  run(${CMAKE_COMMAND} --install ${PLEXA_BUILD} --prefix ${WORK}/tree)
  file(RENAME ${WORK}/tree ${WORK}/moved)
  execute_process(COMMAND ${WORK}/moved/bin/plexa --version RESULT_VARIABLE rc
                  OUTPUT_VARIABLE version ERROR_VARIABLE version)
  if(NOT rc EQUAL 0 OR NOT version MATCHES "^plexa [0-9]+\.[0-9]+\.[0-9]+")
    message(FATAL_ERROR "the installed bin/plexa does not run (status ${rc}): ${version}")
  endif()
  find_program(PKG_CONFIG pkg-config)
  find_program(CXX NAMES c++ g++ clang++)
  if(PKG_CONFIG AND CXX)
    file(GLOB_RECURSE pcs ${WORK}/moved/*/plexa.pc)
    list(GET pcs 0 moved_pc)
    get_filename_component(pcdir ${moved_pc} DIRECTORY)
    set(ENV{PKG_CONFIG_PATH} ${pcdir})
    execute_process(COMMAND ${PKG_CONFIG} --variable=libdir plexa OUTPUT_VARIABLE libdir
                    OUTPUT_STRIP_TRAILING_WHITESPACE)
    execute_process(COMMAND ${PKG_CONFIG} --cflags --libs plexa RESULT_VARIABLE rc
                    OUTPUT_VARIABLE flags ERROR_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(NOT rc EQUAL 0 OR NOT flags MATCHES "/moved/")
      message(FATAL_ERROR "plexa.pc is not relocatable: ${flags}")
    endif()
    separate_arguments(flags UNIX_COMMAND "${flags}")
    run(${CXX} ${WORK}/src/main.cpp -o ${WORK}/pc_consumer ${flags} -Wl,-rpath,${libdir})
    run(${WORK}/pc_consumer)
  endif()
  message(STATUS "the moved install runs bin/plexa and builds through pkg-config")
endif()
message(STATUS "consumer builds: add_subdirectory and find_package both work")
