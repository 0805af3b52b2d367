// Points, lines and the convex hull.
#include "arrays.h"

namespace kmath_py {

void BindCore(py::module_& m) {
  m.def(
      "convex_hull",
      [](py::handle points) {
        PointsIn in(points, "points", false);
        std::vector<CPointD> pts = in.vector();
        {
          py::gil_scoped_release nogil;
          Math::ConvexHull(pts);
        }
        return ToArray(std::move(pts));
      },
      py::arg("points"),
      R"doc(Convex hull of an (n, 2) point array, counter-clockwise (y up) and
closed (the first point repeated at the end). Points with a NaN or infinite
coordinate are left out; fewer than three usable points give them back as
they are.)doc");

  m.def(
      "fit_line",
      [](py::handle points) {
        PointsIn in(points, "points", true);
        double rms = 0;
        Math::CLine line;
        {
          py::gil_scoped_release nogil;
          Math::CPtStat stat(in.data(), static_cast<int>(in.size()));
          line = Math::MakeLine(stat, &rms);
        }
        return py::make_tuple(line.cosP(), line.sinP(), line.rho(), rms);
      },
      py::arg("points"),
      R"doc(Total-least-squares line through the points: (cos_p, sin_p, rho, rms)
with x cos_p + y sin_p = rho and rms the root-mean-square distance of the
points from it. Fewer than two distinct points give the all-zero line.)doc");
}

}  // namespace kmath_py
