// Point in polygon, hole nesting, clipping and splitting.
#include "arrays.h"

namespace kmath_py {

void BindPolygon(py::module_& m) {
  m.def(
      "contains",
      [](py::handle rings, py::handle points) {
        CStdPlgn const plgn(ReadParts(rings, "rings", false));
        PointsIn q(points, "points", false);
        py::array_t<bool> out(static_cast<py::ssize_t>(q.size()));
        bool* o = out.mutable_data();
        {
          py::gil_scoped_release nogil;
          for (unsigned i = 0; i < q.size(); ++i) o[i] = plgn.PtInside(q.data()[i]);
        }
        return out;
      },
      py::arg("rings"), py::arg("points"),
      R"doc(For each point of an (m, 2) array, whether it lies inside the polygon
given as a list of closed rings (outer rings and holes, even-odd rule). A
point on the boundary may go either way; NaN points are outside.)doc");

  m.def(
      "nest_holes",
      [](py::handle rings) {
        CStdPlgn plgn(ReadParts(rings, "rings", false));
        {
          py::gil_scoped_release nogil;
          plgn.IncludeHoles();
        }
        return ToArrayList(std::move(plgn));
      },
      py::arg("rings"),
      R"doc(Splices every hole into the outer ring that holds it; the result lists
clockwise outer rings (y up) with their holes bridged in.)doc");

  m.def(
      "clip_by_rect",
      [](py::handle parts, std::array<double, 4> rect, bool keep_closed) {
        Math::mpoly_base<CPointD> polys = ReadParts(parts, "parts", false);
        {
          py::gil_scoped_release nogil;
          Math::ClipPolyByRect(polys, CRectD{rect[0], rect[1], rect[2], rect[3]}, keep_closed);
        }
        return ToArrayList(std::move(polys));
      },
      py::arg("parts"), py::arg("rect"), py::arg("keep_closed") = true,
      R"doc(Clips polylines to the closed rectangle (left, top, right, bottom) with
top the smaller y. With keep_closed, a closed ring stays one closed ring
running along the sides (polygon clipping); otherwise the pieces inside.)doc");

  m.def(
      "split",
      [](py::handle parts, py::handle rings, bool closed, bool boundary_inside) {
        Math::mpoly_base<CPointD> const polys = ReadParts(parts, "parts", false);
        CStdPlgn const plgn(ReadParts(rings, "rings", false));
        Math::mpoly_base<CPointD> inside, outside;
        {
          py::gil_scoped_release nogil;
          Math::CSplitPoly1 const splitter(plgn, closed);
          for (auto const& p : polys) splitter(p, inside, outside, boundary_inside);
        }
        return py::make_tuple(ToArrayList(std::move(inside)), ToArrayList(std::move(outside)));
      },
      py::arg("parts"), py::arg("rings"), py::arg("closed") = false, py::arg("boundary_inside") = true,
      R"doc(Splits polylines by a polygon into (inside, outside) pieces; nothing is
dropped, so the lengths add up. Pieces along the boundary go inside when
boundary_inside is set.)doc");
}

}  // namespace kmath_py
