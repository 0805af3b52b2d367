// Affine raster-to-world parameters, world files and reference-point
// transforms, applied to whole arrays at once.
#include "arrays.h"

#include <array>

namespace kmath_py {

namespace {

std::vector<Math::CRefPoint> ReadRefPoints(py::handle src, py::handle dst) {
  PointsIn s(src, "src", true), d(dst, "dst", true);
  if (s.size() != d.size())
    throw py::value_error("src and dst must hold the same number of points (" + std::to_string(s.size()) + " vs " +
                          std::to_string(d.size()) + ")");
  std::vector<Math::CRefPoint> rps(s.size());
  for (unsigned i = 0; i < s.size(); ++i) rps[i] = Math::CRefPoint{s.data()[i], d.data()[i]};
  return rps;
}

template <class Map>
py::array_t<double> MapAll(py::handle points, Map map) {
  PointsIn in(points, "points", false);
  std::vector<CPointD> out(in.size());
  {
    py::gil_scoped_release nogil;
    for (unsigned i = 0; i < in.size(); ++i) out[i] = map(in.data()[i]);
  }
  return ToArray(std::move(out));
}

}  // namespace

void BindTransform(py::module_& m) {
  py::class_<Math::CAffineParams>(m, "AffineParams", R"doc(
A plane affine map with its inverse, for raster-to-world conversion.
Coefficients (a, b, c, d, e, f): x' = a x + b y + c, y' = d x + e y + f,
pixel corners on the raster side.)doc")
      .def(py::init([](std::array<double, 6> const& coeffs) {
             return Math::CAffineParams(coeffs.data(), nullptr);
           }),
           py::arg("coefficients"))
      .def_static(
          "from_world_file",
          [](std::array<double, 6> const& abcdef, bool abs_y) {
            Math::CTfwInfo const tfw{abcdef[0], abcdef[1], abcdef[2], abcdef[3], abcdef[4], abcdef[5]};
            Math::CAffineParams p;
            p.Define(tfw, abs_y);
            return p;
          },
          py::arg("numbers"), py::arg("abs_y") = false,
          "From the six numbers of a world file in file order (A, D, B, E, C, F; pixel centres).")
      .def_static(
          "from_origin",
          [](py::handle origin, std::array<double, 2> scale, double angle) {
            return Math::CAffineParams(ReadPoint(origin, "origin"), CSizeD{scale[0], scale[1]}, angle);
          },
          py::arg("origin"), py::arg("scale"), py::arg("angle") = 0.0,
          "Scale, then rotate by `angle` (radians, counter-clockwise), then shift (0, 0) onto `origin`.")
      .def_static(
          "fit",
          [](py::handle src, py::handle dst) {
            std::vector<Math::CRefPoint> const rps = ReadRefPoints(src, dst);
            Math::CAffineParams p;
            if (!p.Define(rps.data(), static_cast<unsigned>(rps.size())))
              throw py::value_error("fit: needs at least three reference points not all on one line");
            return p;
          },
          py::arg("src"), py::arg("dst"), "Least-squares affine map taking the src points onto the dst points.")
      .def(
          "world_file",
          [](Math::CAffineParams const& p, bool abs_y) {
            Math::CTfwInfo const t = p.TfwInfo(abs_y);
            return py::make_tuple(t.A, t.D, t.B, t.E, t.C, t.F);
          },
          py::arg("abs_y") = false, "The six world-file numbers (A, D, B, E, C, F) of the direct map.")
      .def(
          "coefficients",
          [](Math::CAffineParams const& p) {
            double const* c = p.Direct().Coefficients();
            return py::make_tuple(c[0], c[1], c[2], c[3], c[4], c[5]);
          },
          "(a, b, c, d, e, f) of the direct map.")
      .def(
          "apply", [](Math::CAffineParams const& p, py::handle pts) { return MapAll(pts, p.Direct()); },
          py::arg("points"), "Maps an (n, 2) array raster -> world.")
      .def(
          "apply_inverse",
          [](Math::CAffineParams& p, py::handle pts) {
            auto const inv = p.Inverse();
            if (!p.InverseValid()) throw py::value_error("apply_inverse: the map is singular");
            return MapAll(pts, inv);
          },
          py::arg("points"), "Maps an (n, 2) array world -> raster. ValueError for a singular map.")
      .def("__mul__",
           [](Math::CAffineParams const& a, Math::CAffineParams const& b) {
             Math::CAffineParams r = a;
             r *= b;
             return r;
           },
           "Composition: (a * b).apply(p) == a.apply(b.apply(p)).");

  py::class_<Math::CLinearTrans>(m, "SimilarityTransform", R"doc(
A similarity (rotation, uniform scale, shift) through two reference pairs,
x' = a x - b y + tx, y' = b x + a y + ty, with its own inverse.)doc")
      .def_static(
          "fit",
          [](py::handle src, py::handle dst) {
            std::vector<Math::CRefPoint> const rps = ReadRefPoints(src, dst);
            Math::CLinearTrans t;
            if (!t.Define(rps.data(), static_cast<unsigned>(rps.size())))
              throw py::value_error("fit: needs two distinct source and two distinct target points");
            return t;
          },
          py::arg("src"), py::arg("dst"), "Through the first two pairs only; further pairs are ignored.")
      .def("apply", [](Math::CLinearTrans const& t, py::handle pts) { return MapAll(pts, [&](CPointD p) { return t.Point(p); }); },
           py::arg("points"))
      .def("inverse", &Math::CLinearTrans::Inverse)
      .def("coefficients", [](Math::CLinearTrans const& t) {
        double const* c = t.Coefficients();
        return py::make_tuple(c[0], c[1], c[2], c[3]);
      });

  py::class_<Math::CSqrTrans>(m, "PolynomialTransform", R"doc(
A second-order polynomial map fitted by least squares to reference pairs,
with an independently fitted inverse. The fit works on raw coordinates:
centre projected-world coordinates before fitting (see the C++ header).)doc")
      .def_static(
          "fit",
          [](py::handle src, py::handle dst) {
            std::vector<Math::CRefPoint> const rps = ReadRefPoints(src, dst);
            Math::CSqrTrans t;
            if (!t.Define(rps.data(), static_cast<unsigned>(rps.size())))
              throw py::value_error("fit: needs at least six well-spread reference points");
            return t;
          },
          py::arg("src"), py::arg("dst"))
      .def("apply", [](Math::CSqrTrans const& t, py::handle pts) { return MapAll(pts, [&](CPointD p) { return t.Point(p); }); },
           py::arg("points"))
      .def("inverse", &Math::CSqrTrans::Inverse)
      .def("coefficients", [](Math::CSqrTrans const& t) {
        double const* c = t.Coefficients();
        return std::vector<double>(c, c + 12);
      });
}

}  // namespace kmath_py
