// The module's image calls: tracing, centre lines, colour regions and edges of pictures given
// as file paths or rows of grey values, with the GIL released while the library works.
#pragma once

#include <pybind11/pybind11.h>

#include <string>

#include "python/paths.h"

namespace plexa_python {

// FileNotFoundError for a path that does not exist, ValueError for one that cannot be read.
[[noreturn]] void RaiseFileError(const std::string& path, const std::string& error);

PathSet Trace(const py::object& image, const std::string& engine, int threshold, bool invert,
              int minPoints, int speckle, double cornerThreshold, double optTolerance);
PathSet Centerline(const py::object& image, int threshold, bool invert);
py::list TraceColours(const std::string& path, int colours, int speckle, double tolerance);
PathSet Edges(const py::object& image, double details, const std::string& method);

}  // namespace plexa_python
