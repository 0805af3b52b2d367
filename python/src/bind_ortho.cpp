// Squaring, dominant directions and oriented rectangles.
#include "arrays.h"

#include <limits>

namespace kmath_py {

namespace {

py::dict RectangleDict(Math::CRectangle const& r) {
  CPointD const c = r.Center();
  CPolarVector const w = r.Vector(true);
  CPolarVector const h = r.Vector(false);
  CPointD const u{w.dx * w.length, w.dy * w.length};
  CPointD const v{h.dx * h.length, h.dy * h.length};
  // Counter-clockwise (y up) from the corner behind the centre on both axes.
  std::vector<CPointD> corners{c - u - v, c + u - v, c + u + v, c - u + v};
  py::dict d;
  d["corners"] = ToArray(std::move(corners));
  d["center"] = py::make_tuple(c.x, c.y);
  d["size"] = py::make_tuple(r.Width(), r.Height());
  d["angle"] = r.Angle();
  d["area"] = r.Area();
  d["valid"] = r.IsValid();
  return d;
}

}  // namespace

void BindOrtho(py::module_& m) {
  m.def(
      "square",
      [](py::handle points, py::object tolerance, double ratio, double min_side, unsigned max_corners,
         double max_chord) {
        PointsIn in(points, "points", true);
        double tol = 0;
        bool const reduce = !tolerance.is_none();
        if (reduce) {
          tol = tolerance.cast<double>();
          if (!(tol > 0) || !std::isfinite(tol)) throw py::value_error("square: tolerance must be positive");
        }
        if (!(ratio > 0 && ratio < 1)) throw py::value_error("square: ratio must lie in (0, 1)");
        if (!(min_side > 0) || !std::isfinite(min_side)) throw py::value_error("square: min_side must be positive");
        std::vector<CPointD> ring = in.vector();
        bool accepted = false;
        {
          py::gil_scoped_release nogil;
          if (reduce) Math::PolyApprox(ring, tol, max_chord);
          // Each call owns its record: the squarer writes its results into it.
          Math::CPolyOrtho::CParams params(ratio, min_side);
          params.nCorners = max_corners;
          accepted = ring.size() >= 4 && Math::CPolyOrtho(params)(ring);
        }
        if (!accepted) return py::make_tuple(ToArray(in.vector()), false);
        return py::make_tuple(ToArray(std::move(ring)), true);
      },
      py::arg("points"), py::arg("tolerance") = py::none(), py::kw_only(), py::arg("ratio") = 0.3,
      py::arg("min_side") = 1.5, py::arg("max_corners") = 1000,
      py::arg("max_chord") = std::numeric_limits<double>::max(),
      R"doc(Squares a closed traced outline (first point repeated at the end) into
a right-angled ring. With `tolerance` the ring is first reduced as
simplify(points, tolerance, max_chord) does; the squarer then keeps walls of
at least `min_side`, tolerates a deviation of min_side * ratio / (1 - ratio)
and gives up beyond `max_corners` corners.

Returns (ring, accepted): the squared ring and True, or the input unchanged
(not reduced) and False when the outline is not right-angled enough, open or
degenerate. ValueError for non-finite coordinates or parameters out of range.)doc");

  m.def(
      "square_once",
      [](py::handle points, double tolerance, double snap, bool keep_first, bool keep_last, py::object angle) {
        PointsIn in(points, "points", true);
        double a = std::numeric_limits<double>::quiet_NaN();
        bool const given = !angle.is_none();
        if (given) {
          a = angle.cast<double>();
          if (!std::isfinite(a)) throw py::value_error("square_once: angle must be finite");
        }
        std::vector<CPointD> pts = in.vector();
        bool ok = false;
        {
          py::gil_scoped_release nogil;
          ok = Math::PolyOrtho(pts, tolerance, snap, keep_first, keep_last, given ? &a : nullptr);
        }
        return py::make_tuple(ok ? ToArray(std::move(pts)) : ToArray(in.vector()), ok);
      },
      py::arg("points"), py::arg("tolerance"), py::kw_only(), py::arg("snap") = 0.0, py::arg("keep_first") = false,
      py::arg("keep_last") = false, py::arg("angle") = py::none(),
      R"doc(Squares a polyline or ring in one pass: split at the inflections with
`tolerance`, each piece put along the nearer of two perpendicular axes,
corners where consecutive lines cross. `snap` > 0 merges parallel lines
closer than it; keep_first / keep_last put the end vertices back; `angle`
(radians) fixes the axes, else they are measured.

Returns (squared, accepted): the input unchanged and False when squaring
fails (fewer than two points, no measurable direction). ValueError for
non-finite input.)doc");

  m.def(
      "ortho_direction",
      [](py::handle points) {
        PointsIn in(points, "points", false);
        double a = 0;
        bool ok = false;
        {
          py::gil_scoped_release nogil;
          ok = Math::PolyOrthoDir(in.data(), in.size(), a);
        }
        return ok ? py::object(py::float_(a)) : py::object(py::none());
      },
      py::arg("points"),
      R"doc(The direction of the axes of a right-angled outline from the length-
weighted fourfold angle of its segments, in radians; None for fewer than two
points, no measurable direction or a NaN coordinate.)doc");

  m.def(
      "base_direction",
      [](py::handle points, double resolution) {
        PointsIn in(points, "points", false);
        double a = 0;
        {
          py::gil_scoped_release nogil;
          a = Math::PolyBaseDir(in.data(), in.size(), resolution);
        }
        return std::isnan(a) ? py::object(py::none()) : py::object(py::float_(a));
      },
      py::arg("points"), py::arg("resolution") = 0.05,
      R"doc(Dominant direction modulo 90 degrees, in [0, pi/2), robust to the
staircase of a trace; runs within `resolution` radians vote together. None
for fewer than two points, non-finite coordinates, a resolution outside
(0, pi/4] or no length.)doc");

  m.def(
      "direction_clusters",
      [](py::handle points, double resolution) {
        PointsIn in(points, "points", false);
        std::vector<std::pair<CPointD, double>> out;
        {
          py::gil_scoped_release nogil;
          Math::PolyDirClusters(in.data(), in.size(), out, resolution);
        }
        py::array_t<double> dirs({py::ssize_t(out.size()), py::ssize_t(2)});
        py::array_t<double> shares(py::ssize_t(out.size()));
        for (std::size_t i = 0; i < out.size(); ++i) {
          dirs.mutable_at(i, 0) = out[i].first.x;
          dirs.mutable_at(i, 1) = out[i].first.y;
          shares.mutable_at(i) = out[i].second;
        }
        return py::make_tuple(dirs, shares);
      },
      py::arg("points"), py::arg("resolution") = 0.1,
      R"doc(The distinct directions modulo 180 degrees: (directions, shares) with
unit vectors (k, 2) of angle in [0, pi) and their shares of the length
(summing to 1), heaviest first. Empty arrays for bad input.)doc");

  m.def(
      "broken",
      [](py::handle points, double tolerance, py::object min_run, bool closed, bool keep_ends) {
        PointsIn in(points, "points", false);
        double run = 0;
        if (!min_run.is_none()) run = min_run.cast<double>();
        std::vector<CPointD> pts = in.vector();
        bool ok = false;
        {
          py::gil_scoped_release nogil;
          ok = min_run.is_none() ? Math::PolyBroken2(pts, tolerance, closed, keep_ends)
                                 : Math::PolyBroken(pts, tolerance, run, closed, keep_ends);
        }
        return py::make_tuple(ok ? ToArray(std::move(pts)) : ToArray(in.vector()), ok);
      },
      py::arg("points"), py::arg("tolerance"), py::kw_only(), py::arg("min_run") = py::none(),
      py::arg("closed") = false, py::arg("keep_ends") = true,
      R"doc(Generalises a traced curve into straight runs meeting at the crossings
of their fitted lines. Runs shorter than `min_run` (default 3 * tolerance)
are dropped. Returns (result, changed): the input unchanged and False when
nothing changes or the input is refused (too few points, non-finite values).)doc");

  m.def(
      "distances",
      [](py::handle points, py::handle reference) {
        PointsIn a(points, "points", false);
        PointsIn b(reference, "reference", false);
        std::vector<CPointD> out;
        {
          py::gil_scoped_release nogil;
          out = Math::PolyDistances(a.vector(), b.vector());
        }
        return ToArray(std::move(out));
      },
      py::arg("points"), py::arg("reference"),
      R"doc(Deviation profile of `points` against the `reference` polyline: one row
(arc length along the reference, signed distance, positive on its left) per
point. Empty when either is empty or the reference is not finite; a
non-finite point gets NaN in both columns.)doc");

  auto const rectangleOf = [](py::handle points, auto&& make) {
    PointsIn in(points, "points", false);
    Math::CRectangle r;
    {
      py::gil_scoped_release nogil;
      r = make(in);
    }
    return RectangleDict(r);
  };

  m.def(
      "min_area_rectangle",
      [rectangleOf](py::handle points, bool convex) {
        return rectangleOf(points, [convex](PointsIn const& in) {
          return Math::MinAreaRectangle(in.data(), in.size(), convex);
        });
      },
      py::arg("points"), py::kw_only(), py::arg("convex") = false,
      R"doc(The smallest-area rectangle holding the points (over their hull, unless
`convex` says they already are one), width >= height. A dict: 'corners' (4, 2)
counter-clockwise, 'center', 'size' (width, height), 'angle' of the width
side, 'area', 'valid'. All zero for no points, one distinct point or a
non-finite coordinate.)doc");

  m.def(
      "extent_rectangle",
      [rectangleOf](py::handle points, py::object angle) {
        if (angle.is_none())
          return rectangleOf(points, [](PointsIn const& in) { return Math::ExtentRectangle(in.data(), in.size()); });
        double const a = angle.cast<double>();
        return rectangleOf(points, [a](PointsIn const& in) { return Math::ExtentRectangle(in.data(), in.size(), a); });
      },
      py::arg("points"), py::arg("angle") = py::none(),
      R"doc(The rectangle of direction `angle` (radians) enclosing the points; with
no angle, the moment rectangle grown to hold them (the bounding box where
that is undefined). The dict of min_area_rectangle.)doc");

  m.def(
      "moment_rectangle",
      [rectangleOf](py::handle ring, bool use_hull) {
        return rectangleOf(ring, [use_hull](PointsIn const& in) {
          return Math::MakeRectangle(in.data(), in.size(), use_hull);
        });
      },
      py::arg("ring"), py::kw_only(), py::arg("use_hull") = true,
      R"doc(The rectangle with the centroid and second area moments of the polygon
(closed implicitly), along its principal direction. When the moments are
degenerate, `use_hull` retries with the convex hull. The dict of
min_area_rectangle; all zero when no rectangle exists.)doc");
}

}  // namespace kmath_py
