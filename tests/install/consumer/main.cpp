// An outside program: only the umbrella header and the installed package.
#include <math/kmath.h>

#include <cmath>
#include <cstdio>
#include <vector>

int main() {
  std::vector<CPointD> pts{{0, 0}, {2, 0}, {2, 2}, {0, 2}, {1, 1}};
  Math::ConvexHull(pts);
  if (pts.size() != 5) {
    std::fprintf(stderr, "hull has %zu points, expected 5\n", pts.size());
    return 1;
  }
  Math::CLine const l(CPointD{0, 0}, CPointD{1, 0});
  if (std::abs(l.sinP() + 1.0) > 1e-15) return 1;
  std::puts("consumer: ok");
  return 0;
}
