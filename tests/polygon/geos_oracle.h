// GEOS as the independent oracle of the polygon operations: converts
// even-odd polygons to valid GEOS geometries and back to numbers.
#pragma once

#include <math/polygon.h>

#include <geos_c.h>

#include <memory>
#include <string>
#include <vector>

namespace kmath_test {

class CGeos {
 public:
  CGeos() : m_h(GEOS_init_r()) {}
  ~CGeos() { GEOS_finish_r(m_h); }
  CGeos(CGeos const&) = delete;
  CGeos& operator=(CGeos const&) = delete;

  struct CDel {
    GEOSContextHandle_t h;
    void operator()(GEOSGeometry* g) const {
      if (g) GEOSGeom_destroy_r(h, g);
    }
  };
  using Geom = std::unique_ptr<GEOSGeometry, CDel>;

  GEOSContextHandle_t h() const { return m_h; }
  Geom Own(GEOSGeometry* g) const { return Geom(g, CDel{m_h}); }

  // A closed ring (closing point added when missing) as a bare polygon.
  GEOSGeometry* RingPolygon(std::vector<CPointD> const& ring) const {
    std::vector<CPointD> r(ring);
    if (r.empty()) return GEOSGeom_createEmptyPolygon_r(m_h);
    if (r.front().x != r.back().x || r.front().y != r.back().y) r.push_back(r.front());
    GEOSCoordSequence* seq = GEOSCoordSeq_create_r(m_h, static_cast<unsigned>(r.size()), 2);
    for (unsigned i = 0; i < r.size(); ++i) GEOSCoordSeq_setXY_r(m_h, seq, i, r[i].x, r[i].y);
    return GEOSGeom_createPolygon_r(m_h, GEOSGeom_createLinearRing_r(m_h, seq), nullptr, 0);
  }

  // The even-odd region of any set of rings: each ring made valid on its
  // own (self-crossing rings give their even-odd inside), then all combined
  // by symmetric difference.
  Geom EvenOdd(CStdPlgn const& p) const {
    Geom acc = Own(GEOSGeom_createEmptyPolygon_r(m_h));
    for (auto const& c : p) {
      if (c.size() < 3) continue;
      Geom raw = Own(RingPolygon(c));
      Geom ring = GEOSisValid_r(m_h, raw.get()) == 1 ? std::move(raw) : Own(GEOSMakeValid_r(m_h, raw.get()));
      // Only the areal part counts; a collapsed ring adds nothing.
      Geom areal = Own(GEOSBuffer_r(m_h, ring.get(), 0.0, 8));
      acc = Own(GEOSSymDifference_r(m_h, acc.get(), areal.get()));
    }
    return acc;
  }

  // The result as laid out by the library (outer counter-clockwise, its
  // clockwise holes after it) as GEOS polygons, for GEOS's validity test.
  Geom Structured(CStdPlgn const& p) const {
    std::vector<GEOSGeometry*> polys;
    std::vector<GEOSGeometry*> holes;
    GEOSGeometry* shell = nullptr;
    auto flush = [&] {
      if (!shell) return;
      polys.push_back(GEOSGeom_createPolygon_r(m_h, shell, holes.data(), static_cast<unsigned>(holes.size())));
      shell = nullptr;
      holes.clear();
    };
    for (auto const& c : p) {
      GEOSCoordSequence* seq = GEOSCoordSeq_create_r(m_h, static_cast<unsigned>(c.size()), 2);
      for (unsigned i = 0; i < c.size(); ++i) GEOSCoordSeq_setXY_r(m_h, seq, i, c[i].x, c[i].y);
      GEOSGeometry* ring = GEOSGeom_createLinearRing_r(m_h, seq);
      if (SignedArea(c) > 0) {
        flush();
        shell = ring;
      } else if (shell) {
        holes.push_back(ring);
      } else {
        GEOSGeom_destroy_r(m_h, ring);
      }
    }
    flush();
    return Own(GEOSGeom_createCollection_r(m_h, GEOS_MULTIPOLYGON, polys.data(), static_cast<unsigned>(polys.size())));
  }

  // The polygons of an overlay result, dropping the lines and points a
  // collection may carry where boundaries only touch.
  Geom Areal(GEOSGeometry const* g) const {
    int const type = GEOSGeomTypeId_r(m_h, g);
    if (type == GEOS_POLYGON || type == GEOS_MULTIPOLYGON) return Own(GEOSGeom_clone_r(m_h, g));
    std::vector<GEOSGeometry*> polys;
    for (int i = 0, n = GEOSGetNumGeometries_r(m_h, g); i < n; ++i) {
      GEOSGeometry const* part = GEOSGetGeometryN_r(m_h, g, i);
      int const t = GEOSGeomTypeId_r(m_h, part);
      if (t == GEOS_POLYGON) {
        polys.push_back(GEOSGeom_clone_r(m_h, part));
      } else if (t == GEOS_MULTIPOLYGON) {
        for (int k = 0, m = GEOSGetNumGeometries_r(m_h, part); k < m; ++k)
          polys.push_back(GEOSGeom_clone_r(m_h, GEOSGetGeometryN_r(m_h, part, k)));
      }
    }
    return Own(GEOSGeom_createCollection_r(m_h, GEOS_MULTIPOLYGON, polys.data(), static_cast<unsigned>(polys.size())));
  }

  double Area(GEOSGeometry const* g) const {
    double a = 0;
    GEOSArea_r(m_h, g, &a);
    return a;
  }

  static double SignedArea(std::vector<CPointD> const& r) {
    double s = 0;
    for (std::size_t i = 0; i + 1 < r.size(); ++i) s += r[i].x * r[i + 1].y - r[i + 1].x * r[i].y;
    return 0.5 * s;
  }

 private:
  GEOSContextHandle_t m_h;
};

}  // namespace kmath_test
