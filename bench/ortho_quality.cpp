// How close squaring brings traced footprints to the footprints they were
// traced from. For every pair of data/footprints_traced.xy the traced ring is
// reduced (PolyApprox), squared (CPolyOrtho, keeping the reduction where it
// refuses; and PolyOrtho, which never refuses) and compared with the truth:
// accepted share, share of rectilinear valid results with the truth's corner
// count, median and 95th percentile of the Hausdorff distance, median area
// error. Printed per scale, for every pair and for the pairs whose truth is
// rectilinear, beside the raw staircase, the bare reduction and the figures
// of two map editors' squaring quoted for this file.
//
// Usage: kmath_ortho_quality [data file] [--tol T] [--minside S] [--ratio R] [--list]
// (--list names the rectilinear footprints that did not come out right or
// came out more than 1 px off)
#include <math/polyapprox.h>
#include <math/polyortho.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "footprint_measure.h"
#include "xy_reader.h"

namespace {

using kmath_quality::Figures;
using kmath_quality::Measure;

struct CRow {
  std::string name;
  std::vector<Figures> figs;
};

double Percentile(std::vector<double> v, double q) {
  if (v.empty()) return std::nan("");
  std::sort(v.begin(), v.end());
  double const pos = q * static_cast<double>(v.size() - 1);
  auto const lo = static_cast<std::size_t>(std::floor(pos));
  std::size_t const hi = std::min(lo + 1, v.size() - 1);
  return v[lo] + (v[hi] - v[lo]) * (pos - static_cast<double>(lo));
}

void Print(char const* label, std::vector<Figures> const& f) {
  std::vector<double> hd, ae;
  int acc = 0, right = 0;
  for (Figures const& x : f) {
    hd.push_back(x.hausdorff);
    ae.push_back(x.areaError);
    acc += x.accepted;
    right += x.right;
  }
  double const n = static_cast<double>(f.size());
  std::printf("  %-26s n=%3zu  accepted %5.1f %%  right %5.1f %%  Hausdorff median %5.2f px  p95 %5.2f px  area error median %5.2f %%\n",
              label, f.size(), 100.0 * acc / n, 100.0 * right / n, Percentile(hd, 0.5), Percentile(hd, 0.95),
              100.0 * Percentile(ae, 0.5));
}

}  // namespace

int main(int argc, char** argv) {
  std::string file = kmath_test::DataPath("footprints_traced.xy");
  kmath_quality::Settings set;
  bool list = false;
  for (int i = 1; i < argc; ++i) {
    std::string const a = argv[i];
    auto next = [&]() { return i + 1 < argc ? std::atof(argv[++i]) : 0.0; };
    if (a == "--tol") set.reduceTol = next();
    else if (a == "--minside") set.minSide = next();
    else if (a == "--ratio") set.ratio = next();
    else if (a == "--list") list = true;
    else file = a;
  }
  std::vector<kmath_test::XYBlock> blocks;
  try {
    blocks = kmath_test::LoadXY(file.rfind('/') == std::string::npos ? file : file.substr(file.rfind('/') + 1));
  } catch (...) {
    std::fprintf(stderr, "cannot read %s\n", file.c_str());
    return 1;
  }
  std::printf("reduction tolerance %.2f px, dMinSide %.2f px, dRatio %.2f (dMaxRms %.3f px)\n", set.reduceTol,
              set.minSide, set.ratio, Math::CPolyOrtho::CParams(set.ratio, set.minSide).dMaxRms);

  // scale -> (all, rectilinear truth) x (staircase, reduction, PolyOrtho, CPolyOrtho)
  std::map<std::string, std::vector<std::vector<Figures>>> by;
  for (std::size_t b = 0; b + 1 < blocks.size(); b += 2) {
    kmath_test::XYBlock const& t = blocks[b];
    kmath_test::XYBlock const& s = blocks[b + 1];
    if (t.Attr("kind") != "truth" || s.Attr("kind") != "traced") continue;
    int const corners = std::atoi(t.Attr("corners").c_str());
    kmath_quality::CPairResult const r = kmath_quality::SquarePair(t.pts, s.pts, corners, set);
    if (list && r.truthRectilinear && (!r.fig[3].right || r.fig[3].hausdorff > 1.0))
      std::printf("id=%s %s corners=%d: %s, %zu corners, rms %.3f px, Hausdorff %.2f px\n", t.Attr("id").c_str(),
                  t.Attr("setting").c_str(), corners, r.accepted ? "accepted" : "refused",
                  kmath_quality::Open(r.squared).size(), r.rms, r.fig[3].hausdorff);
    for (std::string const& key : {t.Attr("setting"), std::string("all")}) {
      auto& v = by[key];
      v.resize(8);
      for (int k = 0; k < 4; ++k) {
        v[static_cast<std::size_t>(k)].push_back(r.fig[k]);
        if (r.truthRectilinear) v[static_cast<std::size_t>(4 + k)].push_back(r.fig[k]);
      }
    }
  }
  char const* names[4] = {"raw staircase", "reduction", "PolyOrtho", "CPolyOrtho (reduction kept)"};
  for (char const* key : {"12px", "25px", "50px", "all"}) {
    auto it = by.find(key);
    if (it == by.end()) continue;
    std::printf("\nscale %s, all pairs\n", key);
    for (int k = 0; k < 4; ++k) Print(names[k], it->second[static_cast<std::size_t>(k)]);
    std::printf("scale %s, rectilinear truth\n", key);
    for (int k = 0; k < 4; ++k) Print(names[k], it->second[static_cast<std::size_t>(4 + k)]);
  }
  std::printf("\nquoted for this file (1.5 px Douglas-Peucker, then the editor's squaring), all pairs:\n");
  std::printf("  %-26s right 40.5 %%  Hausdorff median 1.52 px  p95 6.0 px  area error median 3.4 %%\n", "iD");
  std::printf("  %-26s right 39.0 %%  Hausdorff median 1.46 px  p95 6.4 px  area error median 4.6 %%\n", "QGIS");
  return 0;
}
