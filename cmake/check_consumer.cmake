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
// A host's everyday use: value types and arrays, the view, paths and their flattening, the
// inside test, the fitter, the archive (its failure caught as the host's own exception type),
// drawing into a bitmap and the version. Only public headers, only exported symbols.
#include "plexa/plexa.h"
#include <cstdio>
#include <cstring>
#include <sstream>
static int failures = 0;
static void Check(bool ok, const char* what) {
  if (!ok) { std::printf("FAILED: %s\n", what); ++failures; }
}
int main() {
  CArray<PLEXA::CDPOINT, PLEXA::CDPOINT> pts;
  pts.Add(PLEXA::CDPOINT(1, 2));
  CView3D view;
  view.Translate(-1, 0, 0);
  view.Transfer(pts[0].x, pts[0].y, 0);
  std::printf("%g %g\n", view.x(), view.y());
  Check(view.x() == 2.0, "view");

  CBPointArray circle;
  CBPointArray::GetCircleBPoints(PLEXA::CDRECT(0, 100, 0, 100), circle);
  CArray<PLEXA::CDPOINT> flat;
  CDWordArray ends;
  circle.ExecuteBPointArrayT(flat, ends, 1.0);
  Check(flat.GetSize() > 8, "flattening");
  const PLEXA::CDRECT box = circle.GetPolyBezierRect(1.0);
  Check(box.xmin > -1 && box.xmax < 101, "bounds");
  PLEXA::CDPOINT inside;
  Check(circle.GetInternalPoint(inside), "inside point");
  CCurveCollision hit(circle);
  Check(hit.IsPointInCurves(PLEXA::CDPOINT(50, 50)), "inside test");
  Check(!hit.IsPointInCurves(PLEXA::CDPOINT(150, 50)), "outside test");

  const PLEXA::CDPOINT line[] = {{0, 0}, {10, 1}, {20, 0}, {30, 1}};
  CBPointArray fitted;
  FitCurve(line, 4, &fitted, 1.0);
  Check(fitted.GetSize() >= 2, "fitter");

  std::stringstream empty;
  CArchive in(empty, CArchive::load);
  bool caught = false;
  try {
    CBPointArray loaded;
    loaded.Serialize(in);
  } catch (const CArchiveException& e) {
    caught = e.m_cause == CArchiveException::endOfFile;
  }
  Check(caught, "archive failure caught by type");

  BITMAPINFO_2 info{};
  info.bmiHeader = {sizeof(BITMAPINFOHEADER), 64, 64, 1, 1, BI_RGB, 0, 0, 0, 0, 0};
  info.bmiColors[1] = {255, 255, 255, 0};
  void* bits = nullptr;
  HBITMAP bmp = CreateDIBSection(nullptr, reinterpret_cast<BITMAPINFO*>(&info), DIB_RGB_COLORS,
                                 &bits, nullptr, 0);
  HDC dc = CreateCompatibleDC(nullptr);
  HGDIOBJ old = SelectObject(dc, bmp);
  RECT all = {0, 0, 64, 64};
  FillRect(dc, &all, static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH)));
  Check(GetPixel(dc, 10, 10) == RGB(255, 255, 255), "drawing");
  SelectObject(dc, old);
  DeleteDC(dc);
  DeleteObject(bmp);

  Check(std::strlen(PLEXA_VERSION_STRING) >= 5, "version");
  std::printf("plexa %s\n", PLEXA_VERSION_STRING);
  return failures == 0 ? 0 : 1;
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

# 3. Only public headers are installed, with the version that pkg-config states.
file(GLOB_RECURSE private_headers ${WORK}/prefix/include/*/internal/*)
if(private_headers)
  message(FATAL_ERROR "private headers installed: ${private_headers}")
endif()
file(READ ${WORK}/prefix/include/plexa/platform/version.h version_h)
string(REGEX MATCH "PLEXA_VERSION_STRING \"([0-9.]+)\"" _ "${version_h}")
set(header_version ${CMAKE_MATCH_1})
list(GET pc 0 pc_file)
file(STRINGS ${pc_file} pc_version REGEX "^Version:")
if(NOT header_version OR NOT pc_version STREQUAL "Version: ${header_version}")
  message(FATAL_ERROR "version.h says '${header_version}', plexa.pc says '${pc_version}'")
endif()

# 4. The shared library exports the public API only: nothing of the private namespaces.
file(GLOB so ${WORK}/prefix/lib/libplexa.so ${WORK}/prefix/lib*/libplexa.so
     ${WORK}/prefix/lib/*/libplexa.so)
find_program(NM nm)
if(so AND NM)
  list(GET so 0 so)
  execute_process(COMMAND ${NM} -D --defined-only -C ${so} RESULT_VARIABLE rc
                  OUTPUT_VARIABLE symbols ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "nm failed on ${so}: ${err}")
  endif()
  string(REGEX MATCHALL "[^\n]+" lines "${symbols}")
  list(LENGTH lines count)
  set(leaks)
  foreach(line IN LISTS lines)
    if(line MATCHES "plexa::|plexa_detail::|\\(anonymous namespace\\)")
      list(APPEND leaks "${line}")
    endif()
  endforeach()
  if(leaks)
    list(LENGTH leaks nleaks)
    list(SUBLIST leaks 0 10 first)
    string(REPLACE ";" "\n" first "${first}")
    message(FATAL_ERROR "${nleaks} internal symbols exported, e.g.\n${first}")
  endif()
  message(STATUS "libplexa.so exports ${count} symbols, none of them internal")
elseif(NOT WIN32 AND NOT APPLE)
  message(FATAL_ERROR "no installed libplexa.so or no nm to check its exports")
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
