// Conversions between NumPy arrays and the library's point containers.
//
// Points cross the boundary as (n, 2) float64 arrays. On the way in a
// C-contiguous float64 array is read in place (CPointD is two packed doubles,
// so the buffer is already an array of points); any other numeric array is
// converted once. On the way out a result vector is moved into a capsule that
// the array owns, so nothing is copied either way.
#pragma once

#include <math/kmath.h>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <cmath>
#include <string>
#include <vector>

namespace kmath_py {

namespace py = pybind11;

static_assert(sizeof(CPointD) == 2 * sizeof(double), "CPointD must be two packed doubles");

// A read-only view of caller points; keeps the (possibly converted) array
// alive while the view is used.
class PointsIn {
 public:
  PointsIn(py::handle obj, char const* name, bool requireFinite);

  CPointD const* data() const { return m_data; }
  unsigned size() const { return m_size; }
  std::vector<CPointD> vector() const { return std::vector<CPointD>(m_data, m_data + m_size); }

 private:
  py::array_t<double, py::array::c_style | py::array::forcecast> m_array;
  CPointD const* m_data = nullptr;
  unsigned m_size = 0;
};

// (n, 2) float64 array owning `pts`.
py::array_t<double> ToArray(std::vector<CPointD>&& pts);
py::array_t<double> ToArray(std::vector<CPointD> const& pts);

// A list of (n_i, 2) arrays for rings, parts or pieces.
py::list ToArrayList(Math::mpoly_base<CPointD>&& polys);
// A sequence of (n_i, 2) arrays as contours of one polygon or parts of a
// multi-polyline.
Math::mpoly_base<CPointD> ReadParts(py::handle seq, char const* name, bool requireFinite);

// One point given as a length-2 sequence.
CPointD ReadPoint(py::handle obj, char const* name);

// Registration of each family's functions; one per source file.
void BindCore(py::module_& m);
void BindShape(py::module_& m);
void BindTransform(py::module_& m);
void BindPolyline(py::module_& m);
void BindPolygon(py::module_& m);
void BindOrtho(py::module_& m);
void BindBoolean(py::module_& m);
void BindCurve(py::module_& m);
void BindGraph(py::module_& m);
void BindClassify(py::module_& m);
void BindCurveFit(py::module_& m);

}  // namespace kmath_py
