// Bézier fitting, corner-preserving smoothing, smooth joins and offsets.
#include "arrays.h"

#include <cmath>
#include <string>

namespace kmath_py {

namespace {

Math::EOffsetJoin ParseJoin(std::string const& s) {
  if (s == "round") return Math::JoinRound;
  if (s == "miter") return Math::JoinMiter;
  if (s == "bevel") return Math::JoinBevel;
  throw py::value_error("offset: join is 'round', 'miter' or 'bevel', not '" + s + "'");
}

Math::EOffsetCap ParseCap(std::string const& s) {
  if (s == "round") return Math::CapRound;
  if (s == "flat") return Math::CapFlat;
  if (s == "square") return Math::CapSquare;
  throw py::value_error("offset: cap is 'round', 'flat' or 'square', not '" + s + "'");
}

void RequirePositive(double v, char const* what) {
  if (!(v > 0) || !std::isfinite(v)) throw py::value_error(std::string(what) + " must be a positive number");
}

}  // namespace

void BindCurveFit(py::module_& m) {
  m.def(
      "bezier_smooth",
      [](py::handle points, double tolerance, double corner_angle, double chord_tolerance, bool return_pieces) {
        PointsIn in(points, "points", true);
        RequirePositive(tolerance, "tolerance");
        RequirePositive(corner_angle, "corner_angle");
        RequirePositive(chord_tolerance, "chord_tolerance");
        std::vector<CPointD> pts = in.vector();
        std::vector<Math::CBezierPiece> pieces;
        bool ok = false;
        {
          py::gil_scoped_release nogil;
          ok = Math::BezierSmoothing(pts, tolerance, corner_angle, chord_tolerance, &pieces);
        }
        py::array_t<double> out = ok ? ToArray(std::move(pts)) : ToArray(in.vector());
        if (!return_pieces) return py::object(out);
        py::array_t<double> ctrl({py::ssize_t(pieces.size()), py::ssize_t(4), py::ssize_t(2)});
        py::array_t<bool> corners(py::ssize_t(pieces.size()));
        for (std::size_t k = 0; k < pieces.size(); ++k) {
          CPointD const* p[4] = {&pieces[k].p0, &pieces[k].p1, &pieces[k].p2, &pieces[k].p3};
          for (int j = 0; j < 4; ++j) {
            ctrl.mutable_at(k, j, 0) = p[j]->x;
            ctrl.mutable_at(k, j, 1) = p[j]->y;
          }
          corners.mutable_at(k) = pieces[k].bCorner;
        }
        return py::object(py::make_tuple(out, ctrl, corners));
      },
      py::arg("points"), py::arg("tolerance"), py::kw_only(), py::arg("corner_angle") = 1.2,
      py::arg("chord_tolerance") = 0.1, py::arg("return_pieces") = false,
      R"doc(Fits the polyline with cubic Bézier pieces (every vertex within
`tolerance`; turns sharper than `corner_angle` radians stay corners; smooth
elsewhere) and flattens them within `chord_tolerance`. A closed ring stays
closed. With return_pieces: (polyline, controls, corners) with controls a
(k, 4, 2) array of each piece's p0..p3 and corners a (k,) bool array (the
piece starts at a sharp corner). Fewer than two distinct points: the input
unchanged (and no pieces). ValueError for non-finite coordinates or a
parameter that is not positive.)doc");

  m.def(
      "smooth_preserving_corners",
      [](py::handle points, double sigma, double corner_angle) {
        PointsIn in(points, "points", true);
        RequirePositive(sigma, "sigma");
        RequirePositive(corner_angle, "corner_angle");
        std::vector<CPointD> pts = in.vector();
        bool ok = false;
        {
          py::gil_scoped_release nogil;
          ok = Math::PolySmoothing(pts, sigma, corner_angle);
        }
        return ok ? ToArray(std::move(pts)) : ToArray(in.vector());
      },
      py::arg("points"), py::arg("sigma") = 2.0, py::kw_only(), py::arg("corner_angle") = 1.3,
      R"doc(Gaussian smoothing along arc length (deviation `sigma`) that keeps the
vertex count, the corners (turns sharper than `corner_angle`) and the ends
of an open polyline; a closed ring keeps its area. The input unchanged when
nothing can move. ValueError for non-finite input or a parameter that is not
positive.)doc");

  m.def(
      "smooth_join",
      [](py::handle a, py::handle b, double join_tolerance, double length, double chord_tolerance) {
        PointsIn pa(a, "a", true), pb(b, "b", true);
        if (!(join_tolerance >= 0)) throw py::value_error("join_tolerance must not be negative");
        RequirePositive(length, "length");
        RequirePositive(chord_tolerance, "chord_tolerance");
        std::vector<CPointD> pts = pa.vector();
        std::vector<CPointD> const other = pb.vector();
        bool ok = false;
        {
          py::gil_scoped_release nogil;
          ok = Math::PolysSmoothJoin(pts, other, join_tolerance, length, chord_tolerance);
        }
        return ok ? py::object(ToArray(std::move(pts))) : py::object(py::none());
      },
      py::arg("a"), py::arg("b"), py::kw_only(), py::arg("join_tolerance") = 1.0, py::arg("length") = 5.0,
      py::arg("chord_tolerance") = 0.1,
      R"doc(Joins `b` onto `a` where their ends lie within `join_tolerance`,
replacing the joint by one cubic tangent to both `length` away on either
side; the result runs in a's direction. None when no ends meet or either
polyline has fewer than two distinct points. ValueError for non-finite
input or bad parameters.)doc");

  m.def(
      "offset",
      [](py::handle points, double distance, std::string const& join, double miter_limit, double chord_tolerance,
         bool outline, std::string const& cap) {
        PointsIn in(points, "points", true);
        if (distance == 0 || !std::isfinite(distance)) throw py::value_error("offset: distance must be finite and not 0");
        RequirePositive(chord_tolerance, "chord_tolerance");
        Math::COffsetParams params;
        params.eJoin = ParseJoin(join);
        params.dMiterLimit = miter_limit;
        params.dChordTol = chord_tolerance;
        params.bOutline = outline;
        params.eCap = ParseCap(cap);
        std::vector<CPointD> const pts = in.vector();
        std::vector<std::vector<CPointD>> result;
        bool ok = false;
        {
          py::gil_scoped_release nogil;
          ok = Math::PolyOffset(pts, distance, params, result);
        }
        if (!ok) throw py::value_error("offset: undefined for this polyline (fewer than two distinct points, "
                                       "a ring of fewer than three, or coordinates out of range)");
        py::list out;
        for (auto& r : result) out.append(ToArray(std::move(r)));
        return out;
      },
      py::arg("points"), py::arg("distance"), py::kw_only(), py::arg("join") = "round", py::arg("miter_limit") = 4.0,
      py::arg("chord_tolerance") = 0.01, py::arg("outline") = false, py::arg("cap") = "round",
      R"doc(Parallel offset at signed `distance`, positive to the left of the
direction of travel (inwards for a counter-clockwise ring). A closed ring
gives the rings of its region grown or shrunk by |distance| (none when
shrunk away, several across a neck); an open polyline gives the pieces of
its offset curve that stay |distance| from it, or with outline=True the
rings around it with the given `cap` ('round', 'flat', 'square'). `join` at
outer turns: 'round', 'miter' (up to miter_limit * |distance|, else
bevelled) or 'bevel'. Returns a list of (n, 2) arrays; results never cross.
ValueError for a distance of 0, non-finite input or too few points.)doc");
}

}  // namespace kmath_py
