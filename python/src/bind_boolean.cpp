// Boolean operations on polygons and integer rasterisation.
#include "arrays.h"

#include <cmath>
#include <cstdint>
#include <cstring>

namespace kmath_py {

namespace {

struct OpName {
  char const* name;
  Math::EPlgnOperation op;
};

constexpr OpName kOps[] = {
    {"intersection", Math::Cross},   {"union", Math::Union},
    {"difference", Math::AnotB},     {"reverse_difference", Math::BnotA},
    {"symdifference", Math::AXorB},  {"normalize_a", Math::NormA},
    {"normalize_b", Math::NormB},
};

Math::EPlgnOperation ParseOp(std::string const& name) {
  for (auto const& o : kOps)
    if (name == o.name) return o.op;
  std::string known;
  for (auto const& o : kOps) known += std::string(known.empty() ? "" : ", ") + o.name;
  throw py::value_error("boolean: unknown operation '" + name + "' (one of " + known + ")");
}

// Pixel indices as the fill takes them: the nearest integer, halves away
// from zero, so a polygon traced on pixel corners keeps its vertices.
std::vector<tagPOINT> IntegerRing(PointsIn const& in, char const* name) {
  std::vector<tagPOINT> out;
  out.reserve(in.size());
  for (unsigned i = 0; i < in.size(); ++i) {
    CPointD const p = in.data()[i];
    if (!(std::fabs(p.x) < 2147483647.0 && std::fabs(p.y) < 2147483647.0))
      throw py::value_error(std::string(name) + ": point " + std::to_string(i) + " is not a 32-bit pixel index");
    out.push_back(tagPOINT{int(std::lround(p.x)), int(std::lround(p.y))});
  }
  // The fill closes the ring itself.
  if (out.size() > 1 && out.front().x == out.back().x && out.front().y == out.back().y) out.pop_back();
  return out;
}

CPoint ReadPixel(py::handle obj, char const* name) {
  CPointD const p = ReadPoint(obj, name);
  if (!(std::fabs(p.x) < 2147483647.0 && std::fabs(p.y) < 2147483647.0))
    throw py::value_error(std::string(name) + ": not a 32-bit pixel index");
  return CPoint(int(std::lround(p.x)), int(std::lround(p.y)));
}

py::array_t<std::int32_t> PixelArray(std::vector<CPoint> const& px) {
  py::array_t<std::int32_t> out({py::ssize_t(px.size()), py::ssize_t(2)});
  std::int32_t* o = out.mutable_data();
  for (std::size_t i = 0; i < px.size(); ++i) o[2 * i] = px[i].x, o[2 * i + 1] = px[i].y;
  return out;
}

}  // namespace

void BindBoolean(py::module_& m) {
  m.def(
      "boolean",
      [](py::handle a_rings, py::handle b_rings, std::string const& op) {
        Math::EPlgnOperation const o = ParseOp(op);
        CStdPlgn const a(ReadParts(a_rings, "a_rings", false));
        CStdPlgn const b(ReadParts(b_rings, "b_rings", false));
        CStdPlgn result;
        {
          py::gil_scoped_release nogil;
          Math::CPlgnOperator oper(a, b);
          result = oper(o);
        }
        return ToArrayList(std::move(result));
      },
      py::arg("a_rings"), py::arg("b_rings"), py::arg("op"),
      R"doc(A boolean operation on two polygons, each a list of rings under the
even-odd rule (rings may cross, touch or run either way). `op` is one of
'intersection', 'union', 'difference' (a - b), 'reverse_difference' (b - a),
'symdifference', 'normalize_a', 'normalize_b' (the operand rebuilt as clean
rings). The result lists counter-clockwise outer rings (y up), each followed
by its clockwise holes, closed. ValueError for an unknown operation.)doc");

  m.def(
      "union_all",
      [](py::handle polygons, bool normalize) {
        if (!py::isinstance<py::sequence>(polygons) || py::isinstance<py::str>(polygons) ||
            py::isinstance<py::array>(polygons))
          throw py::type_error("polygons: expected a sequence of polygons (lists of rings)");
        std::vector<CStdPlgn> all;
        for (py::handle p : polygons) all.emplace_back(ReadParts(p, "polygons", false));
        CStdPlgn result;
        {
          py::gil_scoped_release nogil;
          Math::CMultiPlgnUnion u(normalize);
          for (auto const& p : all) u.AddPolygon(p, normalize);
          result = u();
        }
        return ToArrayList(std::move(result));
      },
      py::arg("polygons"), py::kw_only(), py::arg("normalize") = true,
      R"doc(The union of many polygons (each a list of even-odd rings) in one pass,
laid out as boolean() lays out its results. normalize=False trusts the rings
to be clean: counter-clockwise outer rings, clockwise holes, nothing
crossing. Nodes merge within 0.0005 as in boolean().)doc");

  m.def(
      "check_self_cross",
      [](py::handle ring) {
        PointsIn in(ring, "ring", false);
        unsigned bits = 0;
        {
          py::gil_scoped_release nogil;
          bits = Math::CPlgnStructure(in.data(), int(in.size())).CheckSelfCross().Bits();
        }
        return bits;
      },
      py::arg("ring"),
      R"doc(How a ring meets itself, as bits: 0 for a simple ring (either
orientation); bits 0 and 1 (value 3) when it crosses or touches itself, runs
back along itself or cannot be closed; bit 2 (4) as well when an edge had to
be cut.)doc");

  m.def(
      "rasterize",
      [](py::handle rings, int width, int height) {
        if (width < 0 || height < 0) throw py::value_error("rasterize: width and height must not be negative");
        if (!py::isinstance<py::sequence>(rings) || py::isinstance<py::str>(rings) ||
            (py::isinstance<py::array>(rings) && py::array::ensure(rings).ndim() == 2))
          throw py::type_error("rings: expected a sequence of (n, 2) arrays");
        std::vector<std::vector<tagPOINT>> ints;
        for (py::handle r : rings) {
          PointsIn in(r, "rings", true);
          ints.push_back(IntegerRing(in, "rings"));
        }
        py::array_t<std::uint8_t> mask({py::ssize_t(height), py::ssize_t(width)});
        std::uint8_t* out = mask.mutable_data();
        {
          py::gil_scoped_release nogil;
          std::memset(out, 0, std::size_t(width) * std::size_t(height));
          // Even-odd over all rings: each ring's parity XORed into the mask.
          std::vector<unsigned char> row(std::size_t(width) + 1);
          for (auto const& r : ints) {
            CFillPoly fill;
            if (!fill.Init(r.data(), int(r.size()))) continue;
            for (int y = 0; y < height; ++y) {
              fill.NextScanLine(y);
              fill.GetLineMask(row.data(), unsigned(width), unsigned(width));
              std::uint8_t* o = out + std::size_t(y) * std::size_t(width);
              for (int x = 0; x < width; ++x) o[x] ^= row[x] ? 1 : 0;
            }
          }
        }
        return mask;
      },
      py::arg("rings"), py::arg("width"), py::arg("height"),
      R"doc(Fills polygon rings (even-odd over all of them) into a (height, width)
uint8 mask of 0 and 1, row y being scan line y (y downwards). Vertices are
rounded to the nearest integer (halves away from zero); pixel (x, y) is set
when the point (x, y) lies inside or on a left or top edge, so a w x h
rectangle sets w * h pixels. ValueError for non-finite coordinates or ones
beyond 32-bit pixel indices; a ring of fewer than three points sets
nothing.)doc");

  m.def(
      "digital_line",
      [](py::handle p0, py::handle p1, bool four_connected) {
        CPoint const a = ReadPixel(p0, "p0"), b = ReadPixel(p1, "p1");
        std::vector<CPoint> px{a};
        CPoint p;
        if (four_connected) {
          CSegmBuilder4 s;
          s.Init(a, b);
          while (s.GetNext(p)) px.push_back(p);
        } else {
          CSegmBuilder s;
          s.Init(a, b);
          while (s.GetNext(p)) px.push_back(p);
        }
        return PixelArray(px);
      },
      py::arg("p0"), py::arg("p1"), py::kw_only(), py::arg("four_connected") = false,
      R"doc(The pixels of the digital segment from p0 to p1, both included, as an
(n, 2) int32 array: 8-connected (Bresenham, one pixel per step of the major
axis) or, with four_connected, every step along one axis. Floats are rounded
to the nearest integer.)doc");

  m.def(
      "digital_circle",
      [](py::handle center, int radius) {
        CPoint const c = ReadPixel(center, "center");
        if (radius < 1 || radius > 23170) throw py::value_error("digital_circle: radius must lie in 1..23170");
        CCircleBuilder2 cb;
        cb.Init(c, radius);
        std::vector<CPoint> px{cb.GetHead()};
        CPoint p;
        while (cb.GetNext(p)) px.push_back(p);
        return PixelArray(px);
      },
      py::arg("center"), py::arg("radius"),
      R"doc(The pixels of the 8-connected digital circle, one lap from (cx + r, cy)
towards +y, as an (n, 2) int32 array. ValueError for a radius outside
1..23170 (the doubled radius squared must fit in 32 bits).)doc");
}

}  // namespace kmath_py
