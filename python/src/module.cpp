// The compiled part of the kmath Python package.
#include "arrays.h"

PYBIND11_MODULE(_kmath, m) {
  m.doc() = "Plane geometry for traced polylines and polygons (compiled core of the kmath package).";
  kmath_py::BindCore(m);
  kmath_py::BindShape(m);
  kmath_py::BindTransform(m);
  kmath_py::BindPolyline(m);
  kmath_py::BindPolygon(m);
  kmath_py::BindOrtho(m);
  kmath_py::BindBoolean(m);
  kmath_py::BindCurve(m);
  kmath_py::BindGraph(m);
  kmath_py::BindClassify(m);
  kmath_py::BindCurveFit(m);
}
