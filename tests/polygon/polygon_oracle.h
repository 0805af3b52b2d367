// Independent truths for the polygon tests: winding numbers, distances to a
// boundary, lengths, and the pixel masks the crack outlines were traced from.
// Written from the textbook definitions, not from the library's code.
#pragma once

#include <math/polygon.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "xy_reader.h"

namespace polygon_oracle {

using Ring = Math::poly_base<CPointD>;

inline double Cross(CPointD const& a, CPointD const& b, CPointD const& p) {
  return (b.x - a.x) * (p.y - a.y) - (b.y - a.y) * (p.x - a.x);
}

// Winding number of a closed ring around p (upward crossings left of the
// edge count +1, downward ones right of it -1).
inline int Winding(CPointD const& p, std::vector<CPointD> const& ring) {
  int wn = 0;
  for (std::size_t i = 0; i + 1 < ring.size(); ++i) {
    CPointD const& a = ring[i];
    CPointD const& b = ring[i + 1];
    if (a.y <= p.y) {
      if (b.y > p.y && Cross(a, b, p) > 0) ++wn;
    } else if (b.y <= p.y && Cross(a, b, p) < 0) {
      --wn;
    }
  }
  return wn;
}

inline double SegDist(CPointD const& p, CPointD const& a, CPointD const& b) {
  double const dx = b.x - a.x;
  double const dy = b.y - a.y;
  double const l2 = dx * dx + dy * dy;
  double t = l2 > 0 ? ((p.x - a.x) * dx + (p.y - a.y) * dy) / l2 : 0.0;
  t = std::clamp(t, 0.0, 1.0);
  return std::hypot(a.x + t * dx - p.x, a.y + t * dy - p.y);
}

inline double BoundaryDist(CPointD const& p, std::vector<Ring> const& rings) {
  double d = HUGE_VAL;
  for (auto const& r : rings) {
    for (std::size_t i = 0; i + 1 < r.size(); ++i) d = std::min(d, SegDist(p, r[i], r[i + 1]));
  }
  return d;
}

// Rings with their bounding boxes, so a question about a point only visits
// the rings that can matter. Inside: even-odd over the rings, each ring
// holding the point when it winds around it (the rings are simple).
class RingSet {
 public:
  explicit RingSet(std::vector<Ring> rings) : m_rings(std::move(rings)) {
    for (auto const& r : m_rings) {
      CRectD b{HUGE_VAL, HUGE_VAL, -HUGE_VAL, -HUGE_VAL};
      for (auto const& p : r) b = {std::min(b.left, p.x), std::min(b.top, p.y), std::max(b.right, p.x), std::max(b.bottom, p.y)};
      m_boxes.push_back(b);
    }
  }

  bool Inside(CPointD const& p) const {
    bool odd = false;
    for (std::size_t i = 0; i < m_rings.size(); ++i) {
      if (Near(i, p, 0.0) && Winding(p, m_rings[i]) != 0) odd = !odd;
    }
    return odd;
  }

  // Some segment lies closer than tol to p.
  bool OnBoundary(CPointD const& p, double tol) const {
    for (std::size_t i = 0; i < m_rings.size(); ++i) {
      if (!Near(i, p, tol)) continue;
      auto const& r = m_rings[i];
      for (std::size_t k = 0; k + 1 < r.size(); ++k) {
        if (SegDist(p, r[k], r[k + 1]) < tol) return true;
      }
    }
    return false;
  }

 private:
  bool Near(std::size_t i, CPointD const& p, double tol) const {
    CRectD const& b = m_boxes[i];
    return p.x >= b.left - tol && p.x <= b.right + tol && p.y >= b.top - tol && p.y <= b.bottom + tol;
  }

  std::vector<Ring> m_rings;
  std::vector<CRectD> m_boxes;
};

template <class T>
double Length(std::vector<T> const& pts) {
  double s = 0.0;
  for (std::size_t i = 0; i + 1 < pts.size(); ++i) {
    s += std::hypot(static_cast<double>(pts[i + 1].x) - pts[i].x, static_cast<double>(pts[i + 1].y) - pts[i].y);
  }
  return s;
}

inline double Area(std::vector<CPointD> const& r) {
  double s = 0.0;
  for (std::size_t i = 0; i + 1 < r.size(); ++i) s += r[i].x * r[i + 1].y - r[i + 1].x * r[i].y;
  return s / 2.0;
}

// The rings of a data file (optionally only blocks whose `key` attribute
// equals `value`), as library contours.
inline std::vector<Ring> Rings(std::string const& file, std::string const& key = "", std::string const& value = "") {
  std::vector<Ring> out;
  for (auto const& b : kmath_test::LoadXY(file)) {
    if (!key.empty() && b.Attr(key) != value) continue;
    out.emplace_back(b.pts);
  }
  return out;
}

// A binary PBM (P4) mask: bit 1 = foreground, rows padded to whole bytes.
struct Mask {
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> bits;

  bool At(int x, int y) const {
    int const stride = (width + 7) / 8;
    return (bits[static_cast<std::size_t>(y * stride + x / 8)] >> (7 - x % 8)) & 1;
  }
};

inline Mask LoadMask(std::string const& name) {
  std::ifstream in(kmath_test::DataPath(name), std::ios::binary);
  std::string magic;
  in >> magic;
  if (magic != "P4") throw std::runtime_error("not a P4 mask: " + name);
  auto skip = [&] {
    in >> std::ws;
    while (in.peek() == '#') {
      std::string line;
      std::getline(in, line);
      in >> std::ws;
    }
  };
  Mask m;
  skip();
  in >> m.width;
  skip();
  in >> m.height;
  in.get();  // the one whitespace byte before the raster
  m.bits.resize(static_cast<std::size_t>((m.width + 7) / 8 * m.height));
  in.read(reinterpret_cast<char*>(m.bits.data()), static_cast<std::streamsize>(m.bits.size()));
  if (!in) throw std::runtime_error("short mask: " + name);
  return m;
}

}  // namespace polygon_oracle
