// Reduction, resampling, smoothing and curve analysis of polylines.
#include "arrays.h"

#include <limits>

namespace kmath_py {

void BindPolyline(py::module_& m) {
  m.def(
      "simplify",
      [](py::handle points, double tolerance, double max_chord) {
        PointsIn in(points, "points", true);
        std::vector<CPointD> pts = in.vector();
        {
          py::gil_scoped_release nogil;
          Math::PolyApprox(pts, tolerance, max_chord);
        }
        return ToArray(std::move(pts));
      },
      py::arg("points"), py::arg("tolerance"), py::arg("max_chord") = std::numeric_limits<double>::max(),
      R"doc(Reduces a traced polyline to its characteristic points: every dropped
vertex lies within `tolerance` of the chord that replaces it and no chord is
longer than `max_chord`. A closed ring (first point repeated) stays closed.
ValueError for non-finite coordinates.)doc");

  m.def(
      "inflections",
      [](py::handle points, double tolerance) {
        PointsIn in(points, "points", true);
        std::vector<int> idx;
        {
          py::gil_scoped_release nogil;
          Math::PolyInflections(in.data(), in.size(), tolerance, idx);
        }
        py::array_t<int> out(static_cast<py::ssize_t>(idx.size()));
        std::copy(idx.begin(), idx.end(), out.mutable_data());
        return out;
      },
      py::arg("points"), py::arg("tolerance"),
      R"doc(Indices of the vertices where the polyline changes its bending sense
(the first stage of simplify), ascending from 0 to n - 1.)doc");

  m.def(
      "resample",
      [](py::handle points, double step) {
        if (!(step > 0)) throw py::value_error("resample: step must be positive");
        PointsIn in(points, "points", true);
        std::vector<CPointD> pts = in.vector();
        {
          py::gil_scoped_release nogil;
          Math::PolyResample(pts, step);
        }
        return ToArray(std::move(pts));
      },
      py::arg("points"), py::arg("step"), "Points evenly spaced `step` apart along the polyline.");

  m.def(
      "smooth",
      [](py::handle points) {
        PointsIn in(points, "points", true);
        std::vector<CPointD> pts = in.vector();
        {
          py::gil_scoped_release nogil;
          Math::GaussSmoothing(pts);
        }
        return ToArray(std::move(pts));
      },
      py::arg("points"), "Three-point (1/4, 1/2, 1/4) smoothing; the end points of an open polyline stay.");

  m.def(
      "curve_info",
      [](py::handle points, int index, double param, double length, bool backward, unsigned degree) {
        PointsIn in(points, "points", false);
        Math::poly_base<CPointD> const poly(in.vector());
        Math::CCurveInfo ci = Math::CurveInfo(poly, Math::poly_hit(index, param), length, backward, degree);
        if (!ci.IsValid()) return py::object(py::none());
        py::dict d;
        d["tangent"] = ci.Tangent();
        d["direction"] = ci.Direction();
        d["curvature"] = ci.Curvature();
        d["polynomial"] = ToArray(ci.Polynom());
        return py::object(d);
      },
      py::arg("points"), py::arg("index"), py::arg("param") = 0.0, py::arg("length") = 10.0,
      py::arg("backward") = false, py::arg("degree") = 2,
      R"doc(How the polyline runs and bends over `length` of arc from the position
(segment `index`, `param` along it): tangent and overall direction angles
(radians) and signed curvature (counter-clockwise positive), or None where no
fit exists. Not thread-safe against changes of the process-wide kink
parameters (which these bindings never change).)doc");

  auto const endDir = [](bool atEnd) {
    return [atEnd](py::handle points, unsigned span, double length, double tolerance) {
      PointsIn in(points, "points", false);
      CPointD const v = atEnd ? Math::PolyEndingDir(in.data(), in.size(), span, length, tolerance)
                              : Math::PolyStartingDir(in.data(), in.size(), span, length, tolerance);
      return py::make_tuple(v.x, v.y);
    };
  };
  m.def("starting_direction", endDir(false), py::arg("points"), py::arg("span") = 50, py::arg("length") = 5.0,
        py::arg("tolerance") = 1.0, "Running direction at the start, a vector away from the first point; (0, 0) if none.");
  m.def("ending_direction", endDir(true), py::arg("points"), py::arg("span") = 50, py::arg("length") = 5.0,
        py::arg("tolerance") = 1.0, "Running direction at the end, a vector towards the last point; (0, 0) if none.");
}

}  // namespace kmath_py
