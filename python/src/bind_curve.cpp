// Splines through polyline vertices and warping matches between polylines.
#include "arrays.h"

#include <cstdint>

namespace kmath_py {

void BindCurve(py::module_& m) {
  m.def(
      "reduce_to_spline",
      [](py::handle points, py::object tolerance, py::object per_segment) {
        if (tolerance.is_none() == per_segment.is_none())
          throw py::type_error("reduce_to_spline: give exactly one of tolerance and per_segment");
        PointsIn in(points, "points", true);
        std::vector<CPointD> pts = in.vector();
        int r = 0;
        if (!tolerance.is_none()) {
          double const tol = tolerance.cast<double>();
          if (!(tol > 0)) throw py::value_error("reduce_to_spline: tolerance must be positive");
          py::gil_scoped_release nogil;
          r = Math::ReduceToSpline(pts, tol);
        } else {
          int const k = per_segment.cast<int>();
          if (k < 1) throw py::value_error("reduce_to_spline: per_segment must be at least 1");
          py::gil_scoped_release nogil;
          r = Math::ReduceToSpline(pts, k);
        }
        return r == 1 ? ToArray(std::move(pts)) : ToArray(in.vector());
      },
      py::arg("points"), py::kw_only(), py::arg("tolerance") = py::none(), py::arg("per_segment") = py::none(),
      R"doc(Densifies a polyline along the natural cubic spline through its
vertices: with `tolerance`, each segment gets the points that keep every
sub-chord within that distance of the curve; with `per_segment` = k, k
evenly spaced parameters per segment. The vertices stay; the input comes
back unchanged when nothing is added (too few points). ValueError for
non-finite coordinates or a bad tolerance / count.)doc");

  m.def(
      "spline_smoothing",
      [](py::handle points, double step, py::object start_tangent) {
        if (!(step > 0)) throw py::value_error("spline_smoothing: step must be positive");
        PointsIn in(points, "points", true);
        CPointD tangent{};
        bool const hasTangent = !start_tangent.is_none();
        if (hasTangent) tangent = ReadPoint(start_tangent, "start_tangent");
        std::vector<CPointD> pts = in.vector();
        int r = 0;
        {
          py::gil_scoped_release nogil;
          r = Math::SplineSmoothing(pts, step, hasTangent ? &tangent : nullptr);
        }
        return r == 1 ? ToArray(std::move(pts)) : ToArray(in.vector());
      },
      py::arg("points"), py::arg("step"), py::kw_only(), py::arg("start_tangent") = py::none(),
      R"doc(Inserts spline points about `step` apart (by parameter over each
segment's chord) between the vertices, natural ends or the given start
tangent (dx, dy). The input comes back unchanged when nothing is added.)doc");

  m.def(
      "dtw_match",
      [](py::handle a, py::handle b, double step, bool axis_steps, bool check_cross) {
        PointsIn pa(a, "a", false), pb(b, "b", false);
        std::vector<CPointD> const va = pa.vector(), vb = pb.vector();
        std::vector<std::pair<Math::poly_hit, Math::poly_hit>> pairs;
        std::vector<CPointD> qa, qb;
        {
          py::gil_scoped_release nogil;
          Math::CDTWPoly const sa(va), sb(vb);
          Math::DTWMatch(sa, sb, pairs, Math::CDTWParams(check_cross, step, axis_steps));
          qa.reserve(pairs.size());
          qb.reserve(pairs.size());
          for (auto const& p : pairs) {
            qa.push_back(sa.Point(p.first));
            qb.push_back(sb.Point(p.second));
          }
        }
        py::ssize_t const n = py::ssize_t(pairs.size());
        py::array_t<std::int32_t> idx({n, py::ssize_t(2)});
        py::array_t<double> par({n, py::ssize_t(2)});
        for (py::ssize_t i = 0; i < n; ++i) {
          idx.mutable_at(i, 0) = pairs[i].first.index;
          idx.mutable_at(i, 1) = pairs[i].second.index;
          par.mutable_at(i, 0) = pairs[i].first.param;
          par.mutable_at(i, 1) = pairs[i].second.param;
        }
        py::dict d;
        d["index"] = idx;
        d["param"] = par;
        d["a_points"] = ToArray(std::move(qa));
        d["b_points"] = ToArray(std::move(qb));
        return d;
      },
      py::arg("a"), py::arg("b"), py::kw_only(), py::arg("step") = 0.0, py::arg("axis_steps") = false,
      py::arg("check_cross") = false,
      R"doc(Dynamic time warping of polyline `a` against `b`: positions along a
(resampled `step` apart, or its vertices when step is 0) matched with those
along b, from the ends back to the beginnings. A dict of (k, 2) arrays:
'index' (segment of a, segment of b), 'param' (parameters along those
segments), 'a_points' and 'b_points' (the matched points). axis_steps steps
along one polyline at a time; check_cross keeps only pairs whose joining
segment meets neither polyline elsewhere. Empty for an empty polyline.)doc");
}

}  // namespace kmath_py
