// Moments, Hu invariants and circles.
#include "arrays.h"

namespace kmath_py {

namespace {

py::dict MomentsDict(Math::CRCMoments const& rc) {
  py::dict d;
  d["valid"] = rc.IsValid();
  d["m00"] = double(rc.m00);
  d["m10"] = double(rc.m10);
  d["m01"] = double(rc.m01);
  d["m20"] = double(rc.m20);
  d["m11"] = double(rc.m11);
  d["m02"] = double(rc.m02);
  d["m30"] = double(rc.m30);
  d["m21"] = double(rc.m21);
  d["m12"] = double(rc.m12);
  d["m03"] = double(rc.m03);
  d["mu20"] = double(rc.mu20);
  d["mu11"] = double(rc.mu11);
  d["mu02"] = double(rc.mu02);
  d["mu30"] = double(rc.mu30);
  d["mu21"] = double(rc.mu21);
  d["mu12"] = double(rc.mu12);
  d["mu03"] = double(rc.mu03);
  if (rc.IsValid()) {
    CPointD const c = rc.Centroid();
    CSizeD const axes = rc.PrimaryAxes();
    d["centroid"] = py::make_tuple(c.x, c.y);
    d["orientation"] = rc.Orientation();
    d["axes"] = py::make_tuple(axes.cx, axes.cy);
    d["eccentricity"] = rc.Eccentricity();
  }
  return d;
}

}  // namespace

void BindShape(py::module_& m) {
  m.def(
      "moments",
      [](py::handle ring) {
        PointsIn in(ring, "ring", false);
        Math::CRCMoments rc;
        {
          py::gil_scoped_release nogil;
          rc = Math::CRCMoments(Math::CRawMoments(in.data(), in.size()));
        }
        return MomentsDict(rc);
      },
      py::arg("ring"),
      R"doc(Exact moments of the polygon bounded by a closed ring (first point
repeated at the end; either orientation): raw m_pq and central mu_pq up to
third order, and, when the area is not zero ('valid'), centroid, orientation
of the major axis (radians), semi-axes of the equivalent ellipse and
eccentricity (minor over major).)doc");

  m.def(
      "hu_moments",
      [](py::handle ring) {
        PointsIn in(ring, "ring", false);
        Math::CHuMoments hu;
        bool valid = false;
        {
          py::gil_scoped_release nogil;
          Math::CRCMoments const rc{Math::CRawMoments(in.data(), in.size())};
          valid = rc.IsValid();
          if (valid) hu = Math::CHuMoments(rc);
        }
        if (!valid) throw py::value_error("ring: zero area, Hu invariants undefined");
        py::array_t<double> out(7);
        for (int i = 0; i < 7; ++i) out.mutable_at(i) = hu.h[i];
        return out;
      },
      py::arg("ring"),
      R"doc(Hu's seven moment invariants of the polygon bounded by a closed ring,
as a float64 array of 7. ValueError for a ring of zero area.)doc");

  m.def(
      "area_centroid",
      [](py::handle ring) {
        PointsIn in(ring, "ring", false);
        Math::CAreaMoments2 am(in.data(), in.size());
        py::dict d;
        d["area"] = am.dArea;
        d["centroid"] = py::make_tuple(am.dCx, am.dCy);
        d["mu20"] = am.dMu20;
        d["mu11"] = am.dMu11;
        d["mu02"] = am.dMu02;
        return d;
      },
      py::arg("ring"),
      R"doc(Signed area (positive counter-clockwise), centroid and central second
moments of a polygon, closed implicitly. Fewer than three points: zeros.)doc");

  m.def(
      "fit_circle",
      [](py::handle ring) {
        PointsIn in(ring, "ring", false);
        Math::CCircleReduce::CResult r{};
        {
          py::gil_scoped_release nogil;
          Math::poly_base<CPointD> const poly(in.vector());
          r = Math::CCircleReduce(poly);
        }
        if (!r.bValid) return py::object(py::none());
        CPointD const c = r.ptCenter;
        return py::object(py::make_tuple(c.x, c.y, double(r.dRadius), double(r.dDeviation)));
      },
      py::arg("ring"),
      R"doc(Geometric least-squares circle of a closed polyline, each vertex weighted
by its share of the length: (cx, cy, radius, rms_deviation), or None for an
open polyline, fewer than three points or non-finite coordinates.)doc");

  m.def(
      "circle_to_polygon",
      [](py::handle center, double radius, double tolerance, unsigned max_vertices) {
        CPointD const c = ReadPoint(center, "center");
        std::vector<CPointD> out;
        if (!Math::CircleToPoly(out, c, radius, tolerance, max_vertices))
          throw py::value_error("circle_to_polygon: no polygon for this centre, radius and tolerance");
        return ToArray(std::move(out));
      },
      py::arg("center"), py::arg("radius"), py::arg("tolerance"), py::arg("max_vertices") = 1000,
      R"doc(Closed polygon staying within `tolerance` of the circle on either side,
with the fewest vertices (at least 8, at most about `max_vertices`).)doc");

  m.def(
      "arc_to_polyline",
      [](py::handle center, double radius, double start, double end, double tolerance, int max_vertices) {
        CPointD const c = ReadPoint(center, "center");
        Math::poly_base<CPointD> out;
        if (!Math::CArc(c, radius, start, end).MakePoly(out, tolerance, max_vertices))
          throw py::value_error("arc_to_polyline: no polyline for this arc and tolerance");
        return ToArray(std::move(static_cast<std::vector<CPointD>&>(out)));
      },
      py::arg("center"), py::arg("radius"), py::arg("start"), py::arg("end"), py::arg("tolerance"),
      py::arg("max_vertices") = 1000,
      R"doc(Points on the arc from angle `start` to `end` (radians; clockwise when
end < start), evenly spread, the last exactly at `end`.)doc");
}

}  // namespace kmath_py
