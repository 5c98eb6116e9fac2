# Proves the library is consumable two ways: a tiny host project that pulls plexa in with
# add_subdirectory, and one that finds an installed plexa with find_package(plexa CONFIG).
# Run by ctest as: cmake -DPLEXA_SOURCE=<repo> -DWORK=<scratch dir> -P check_consumer.cmake
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
message(STATUS "consumer builds: add_subdirectory and find_package both work")
