// Triangulation, Voronoi diagrams and centre lines.
#include "arrays.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace kmath_py {

namespace {

py::array_t<std::int32_t> Triangles(std::vector<std::uint32_t> const& tri) {
  py::array_t<std::int32_t> out({py::ssize_t(tri.size() / 3), py::ssize_t(3)});
  std::int32_t* o = out.mutable_data();
  for (std::size_t i = 0; i < tri.size(); ++i) o[i] = static_cast<std::int32_t>(tri[i]);
  return out;
}

}  // namespace

void BindGraph(py::module_& m) {
  m.def(
      "triangulate",
      [](py::handle points) {
        PointsIn in(points, "points", false);
        Math::Fortune::CTriangulator t;
        {
          py::gil_scoped_release nogil;
          t.Triangulate(in.vector());
        }
        return Triangles(t.Triangles());
      },
      py::arg("points"),
      R"doc(Delaunay triangulation of the points: an (m, 3) int32 array of indices
into `points`, each triangle counter-clockwise (y up). Points with a non-
finite coordinate and exact duplicates are left out (never referenced);
fewer than three distinct points or a collinear set give no triangles.)doc");

  m.def(
      "triangulate_polygon",
      [](py::handle rings) {
        CStdPlgn const plgn(ReadParts(rings, "rings", false));
        Math::Fortune::CTriangulator t;
        bool ok = false;
        {
          py::gil_scoped_release nogil;
          ok = t.TriangulatePolygon(plgn);
        }
        if (!ok) throw py::value_error("triangulate_polygon: rings must be closed, simple and must not cross");
        return py::make_tuple(ToArray(t.Points()), Triangles(t.Triangles()));
      },
      py::arg("rings"),
      R"doc(Constrained triangulation of a polygon with holes (even-odd rings, each
closed): (vertices, triangles) with vertices the ring vertices in ring order
without the closing repeats, and triangles an (m, 3) int32 array of indices
into them, counter-clockwise, covering exactly the inside. ValueError for an
unclosed or degenerate ring or crossing edges.)doc");

  m.def(
      "voronoi_edges",
      [](py::handle points, py::handle segments, py::object box, double chord_tolerance) {
        PointsIn pin(points, "points", false);
        std::vector<Math::CEdge> segs;
        if (!segments.is_none()) {
          PointsIn s(segments, "segments", false);
          if (s.size() % 2 != 0) throw py::value_error("segments: expected an even number of end points");
          for (unsigned i = 0; i + 1 < s.size(); i += 2) segs.push_back(Math::CEdge{s.data()[i], s.data()[i + 1]});
        }
        std::vector<CPointD> pts = pin.vector();
        CRectD rect{};
        if (box.is_none()) {
          // A margin of the extent around the sites, so that the cells of the
          // outer sites stay visible.
          bool first = true;
          auto grow = [&](CPointD const& p) {
            if (!std::isfinite(p.x) || !std::isfinite(p.y)) return;
            if (first) rect = CRectD{p.x, p.y, p.x, p.y};
            rect.left = std::min(rect.left, p.x), rect.right = std::max(rect.right, p.x);
            rect.top = std::min(rect.top, p.y), rect.bottom = std::max(rect.bottom, p.y);
            first = false;
          };
          for (auto const& p : pts) grow(p);
          for (auto const& e : segs) grow(e.p0), grow(e.p1);
          double const margin = std::max({rect.right - rect.left, rect.bottom - rect.top, 1.0});
          rect = CRectD{rect.left - margin, rect.top - margin, rect.right + margin, rect.bottom + margin};
        } else {
          auto const b = box.cast<std::array<double, 4>>();
          rect = CRectD{b[0], b[1], b[2], b[3]};
        }
        Math::Voronoi::CVoronoiGraph vg;
        bool ok = false;
        std::vector<CPointD> ends;
        std::vector<std::uint32_t> sites;
        {
          py::gil_scoped_release nogil;
          ok = vg.Build(pts, segs, rect, chord_tolerance);
          if (ok) {
            auto const& g = vg.Graph();
            std::uint32_t const npos = Math::Voronoi::CVoronoiGraph::npos;
            for (std::uint32_t h = 0; h < g.num_half_edges(); h += 2) {
              std::uint32_t const a = vg.LeftSite(h).index, b = vg.LeftSite(h ^ 1u).index;
              if (a == npos || b == npos) continue;  // a side of the box
              ends.push_back(g.node_pos(g.source(h)));
              ends.push_back(g.node_pos(g.target(h)));
              sites.push_back(a);
              sites.push_back(b);
            }
          }
        }
        if (!ok) throw py::value_error("voronoi_edges: no sites, a non-finite coordinate or an empty box");
        py::array_t<double> e({py::ssize_t(ends.size() / 2), py::ssize_t(2), py::ssize_t(2)});
        std::copy(&ends.data()->x, &ends.data()->x + 2 * ends.size(), e.mutable_data());
        py::array_t<std::int64_t> s({py::ssize_t(sites.size() / 2), py::ssize_t(2)});
        std::copy(sites.begin(), sites.end(), s.mutable_data());
        return py::make_tuple(e, s);
      },
      py::arg("points"), py::arg("segments") = py::none(), py::kw_only(), py::arg("box") = py::none(),
      py::arg("chord_tolerance") = 0.01,
      R"doc(The Voronoi diagram of point sites (and optional segment sites, given as
a (2k, 2) array of end-point pairs), cut to `box` (left, top, right, bottom;
default: the sites' extent grown by itself on every side).

Returns (edges, sites): edges a (k, 2, 2) array of pieces (parabolic arcs
sampled within `chord_tolerance`), sites a (k, 2) array of the site indices
on either side (points first, then segments). ValueError for no sites, a
non-finite coordinate or an empty box.)doc");

  m.def(
      "centerlines",
      [](py::handle rings, double prune, double tolerance, bool half_widths) {
        CStdPlgn const plgn(ReadParts(rings, "rings", false));
        std::vector<Math::CCenterLine> lines;
        bool ok = false;
        {
          py::gil_scoped_release nogil;
          ok = Math::CenterLines(plgn, prune, tolerance, lines, half_widths);
        }
        if (!ok) throw py::value_error("centerlines: rings must be closed, finite, with three distinct vertices");
        py::list out;
        for (auto& l : lines) {
          if (!half_widths) {
            out.append(ToArray(std::move(l.pts)));
            continue;
          }
          py::array_t<double> w(py::ssize_t(l.halfWidths.size()));
          std::copy(l.halfWidths.begin(), l.halfWidths.end(), w.mutable_data());
          out.append(py::make_tuple(ToArray(std::move(l.pts)), w));
        }
        return out;
      },
      py::arg("rings"), py::arg("prune"), py::arg("tolerance"), py::kw_only(), py::arg("half_widths") = false,
      R"doc(Centre lines of a thin shape given as even-odd rings: a list of (n, 2)
polylines between end points and junctions, ordered by first point (y, then
x); branches shorter than about `prune` are cut, lines reduced within
`tolerance`. With half_widths, each entry is (polyline, widths) with the
distance to the outline at every vertex. ValueError for an unclosed or
degenerate ring or non-finite coordinates.)doc");
}

}  // namespace kmath_py
