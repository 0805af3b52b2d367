// Prints, for every block of an .xy file, what the C++ library returns for
// the operations the Python tests compare against, in hexadecimal floating
// point so that the comparison is bit for bit.
//
//   kmath_py_reference <name.xy>   (a file of the bundled data/ folder)
//
// One line per result: "<block> <op> <value> <value> ...".
#include <math/kmath.h>

#include <cstdio>
#include <exception>
#include <vector>

#include "xy_reader.h"

namespace {

void Print(std::size_t block, char const* op, std::vector<double> const& values) {
  std::printf("%zu %s", block, op);
  for (double v : values) std::printf(" %a", v);
  std::printf("\n");
}

std::vector<double> Flat(std::vector<CPointD> const& pts) {
  std::vector<double> out;
  for (CPointD const& p : pts) {
    out.push_back(p.x);
    out.push_back(p.y);
  }
  return out;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: kmath_py_reference <name.xy>\n");
    return 2;
  }
  try {
    std::vector<kmath_test::XYBlock> const blocks = kmath_test::LoadXY(argv[1]);
    for (std::size_t b = 0; b < blocks.size(); ++b) {
      std::vector<CPointD> const& pts = blocks[b].pts;

      std::vector<CPointD> reduced = pts;
      Math::PolyApprox(reduced, 1.5, 40.0);
      Print(b, "simplify", Flat(reduced));

      std::vector<CPointD> hull = pts;
      Math::ConvexHull(hull);
      Print(b, "hull", Flat(hull));

      std::vector<CPointD> resampled = pts;
      Math::PolyResample(resampled, 2.0);
      Print(b, "resample", Flat(resampled));

      Math::CRCMoments const rc{Math::CRawMoments(pts.data(), unsigned(pts.size()))};
      Print(b, "moments", {rc.m00, rc.m10, rc.m01, rc.mu20, rc.mu11, rc.mu02, rc.mu30, rc.mu03});
      if (rc.IsValid()) {
        Math::CHuMoments const hu(rc);
        Print(b, "hu", std::vector<double>(hu.h, hu.h + 7));
      }

      Math::CCircleReduce::CResult const c = Math::CCircleReduce(Math::poly_base<CPointD>(pts));
      if (c.bValid) {
        CPointD const centre = c.ptCenter;
        Print(b, "circle", {centre.x, centre.y, double(c.dRadius), double(c.dDeviation)});
      }
    }
  } catch (std::exception const& e) {
    std::fprintf(stderr, "kmath_py_reference: %s\n", e.what());
    return 1;
  }
  return 0;
}
