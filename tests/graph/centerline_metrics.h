// Quality figures of centre lines against a reference skeleton: how far the
// lines stray from it, how much of it they cover, how many vertices they
// spend. Shared by the centre-line test and bench/centerline_figures.
#pragma once

#include <math/centerline.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <unordered_map>
#include <vector>

namespace kmath_test {

// Nearest distance from a point to a set of polylines, through a uniform
// grid of their segments.
class SegmentIndex {
 public:
  SegmentIndex(std::vector<std::vector<CPointD>> const& lines, double cell) : m_cell(cell) {
    for (auto const& l : lines) {
      for (std::size_t k = 0; k < l.size(); ++k) {
        CPointD const a = l[k], b = l[k + 1 < l.size() ? k + 1 : k];
        std::size_t const id = m_segs.size();
        m_segs.push_back({a, b});
        for (long gx = Cell(std::min(a.x, b.x)); gx <= Cell(std::max(a.x, b.x)); ++gx) {
          for (long gy = Cell(std::min(a.y, b.y)); gy <= Cell(std::max(a.y, b.y)); ++gy) m_grid[Key(gx, gy)].push_back(id);
        }
      }
    }
  }
  // The distance, or `limit` when nothing is that close. Rings of cells
  // are searched outwards until the next ring cannot hold anything nearer.
  double Distance(CPointD const& p, double limit) const {
    double best = limit;
    long const rmax = static_cast<long>(std::ceil(limit / m_cell));
    long const cx = Cell(p.x), cy = Cell(p.y);
    for (long r = 0; r <= rmax && best > double(r - 1) * m_cell; ++r) {
      for (long gx = cx - r; gx <= cx + r; ++gx) {
        for (long gy = cy - r; gy <= cy + r; ++gy) {
          if (std::max(std::labs(gx - cx), std::labs(gy - cy)) != r) continue;
          auto const it = m_grid.find(Key(gx, gy));
          if (it == m_grid.end()) continue;
          for (std::size_t id : it->second) best = std::min(best, SegDist(p, m_segs[id].first, m_segs[id].second));
        }
      }
    }
    return best;
  }

 private:
  long Cell(double v) const { return static_cast<long>(std::floor(v / m_cell)); }
  static unsigned long long Key(long x, long y) {
    return static_cast<unsigned long long>(static_cast<std::uint32_t>(x)) << 32 | static_cast<std::uint32_t>(y);
  }
  static double SegDist(CPointD const& p, CPointD const& a, CPointD const& b) {
    CPointD const d = b - a, v = p - a;
    double const l2 = d.x * d.x + d.y * d.y;
    double const t = l2 > 0 ? std::clamp((v.x * d.x + v.y * d.y) / l2, 0.0, 1.0) : 0.0;
    CPointD const q = a + d * t - p;
    return std::hypot(q.x, q.y);
  }
  double m_cell;
  std::vector<std::pair<CPointD, CPointD>> m_segs;
  std::unordered_map<unsigned long long, std::vector<std::size_t>> m_grid;
};

struct CenterlineFigures {
  double medianHausdorff = 0;  // per centre line, to the skeleton (px)
  double p95Hausdorff = 0;
  double coverage = 0;  // share of skeleton vertices away from stroke ends within 1.5 px of a line
  std::size_t lines = 0, lineVertices = 0, skeletonVertices = 0;
};

inline double Percentile(std::vector<double> v, double q) {
  if (v.empty()) return 0;
  std::sort(v.begin(), v.end());
  return v[static_cast<std::size_t>(std::round(q * double(v.size() - 1)))];
}

// `skeleton` in the same coordinates as the lines (pixel centres already
// moved by half a pixel).
inline CenterlineFigures MeasureCenterlines(std::vector<Math::CCenterLine> const& lines,
                                            std::vector<std::vector<CPointD>> const& skeleton) {
  CenterlineFigures f;
  SegmentIndex const skel(skeleton, 4.0);
  std::vector<std::vector<CPointD>> polys;
  std::vector<double> hd;
  for (auto const& l : lines) {
    polys.push_back(l.pts);
    f.lineVertices += l.pts.size();
    double worst = skel.Distance(l.pts.front(), 50.0);
    for (std::size_t k = 1; k < l.pts.size(); ++k) {
      CPointD const a = l.pts[k - 1], d = l.pts[k] - a;
      int const n = std::max(1, static_cast<int>(std::ceil(std::hypot(d.x, d.y) / 0.25)));
      for (int j = 1; j <= n; ++j) worst = std::max(worst, skel.Distance(a + d * (double(j) / n), 50.0));
    }
    hd.push_back(worst);
  }
  f.lines = lines.size();
  f.medianHausdorff = Percentile(hd, 0.5);
  f.p95Hausdorff = Percentile(hd, 0.95);

  // Stroke ends: skeleton end points no other skeleton line shares.
  std::map<std::pair<double, double>, int> ends;
  for (auto const& s : skeleton) {
    if (s.size() < 2 || (s.front().x == s.back().x && s.front().y == s.back().y)) continue;
    ++ends[{s.front().x, s.front().y}];
    ++ends[{s.back().x, s.back().y}];
  }
  std::vector<std::vector<CPointD>> endPts;
  for (auto const& [p, n] : ends) {
    if (n == 1) endPts.push_back({{p.first, p.second}});
  }
  SegmentIndex const endIndex(endPts, 4.0);
  SegmentIndex const lineIndex(polys, 4.0);
  std::size_t counted = 0, covered = 0;
  for (auto const& s : skeleton) {
    f.skeletonVertices += s.size();
    for (CPointD const& p : s) {
      if (endIndex.Distance(p, 3.0) <= 2.0) continue;
      ++counted;
      covered += lineIndex.Distance(p, 1.5) < 1.5;
    }
  }
  f.coverage = counted ? double(covered) / double(counted) : 1.0;
  return f;
}

// The outlines of a traced file as one polygon (all rings, even-odd), and
// its skeleton moved from pixel centres to the outlines' pixel corners.
inline CStdPlgn OutlinePolygon(std::vector<std::vector<CPointD>> const& rings) {
  CStdPlgn plg;
  for (auto const& r : rings) plg.emplace_back(r);
  return plg;
}

inline std::vector<std::vector<CPointD>> ShiftHalfPixel(std::vector<std::vector<CPointD>> lines) {
  for (auto& l : lines) {
    for (auto& p : l) p += CPointD{0.5, 0.5};
  }
  return lines;
}

}  // namespace kmath_test
