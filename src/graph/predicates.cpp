#include "graph/predicates_impl.h"

#include <array>
#include <utility>

namespace Math::graph_detail {
namespace {

// Expansion arithmetic after Shewchuk: a number is held as a sum of doubles
// of increasing magnitude that do not overlap, so its sign is the sign of
// its largest component. Zero components are dropped as they arise.

void TwoSum(double a, double b, double& x, double& y) {
  x = a + b;
  double const bv = x - a;
  double const av = x - bv;
  y = (a - av) + (b - bv);
}

void TwoDiff(double a, double b, double& x, double& y) {
  x = a - b;
  double const bv = a - x;
  double const av = x + bv;
  y = (a - av) + (bv - b);
}

void Split(double a, double& hi, double& lo) {
  double const c = 134217729.0 * a;  // 2^27 + 1
  hi = c - (c - a);
  lo = a - hi;
}

void TwoProduct(double a, double b, double& x, double& y) {
  x = a * b;
  double ahi, alo, bhi, blo;
  Split(a, ahi, alo);
  Split(b, bhi, blo);
  double const e1 = x - ahi * bhi;
  double const e2 = e1 - alo * bhi;
  double const e3 = e2 - ahi * blo;
  y = alo * blo - e3;
}

template <int N>
struct Expansion {
  std::array<double, N> v;
  int n = 0;
  int Sign() const { return n == 0 ? 0 : (v[n - 1] > 0.0 ? 1 : (v[n - 1] < 0.0 ? -1 : 0)); }
};

// h = e + f; both operands non-overlapping, increasing. Components are
// taken in order of magnitude from both and carried upwards with exact
// two-sums. The caller guarantees e.n + f.n <= N (a product's partial sums
// stay within 2AB). Nothing is copied beyond the components in use: on
// exactly representable differences the operands have one or two.
template <int N, int A, int B>
void Sum(Expansion<A> const& e, Expansion<B> const& f, Expansion<N>& h) {
  h.n = 0;
  int const total = e.n + f.n;
  if (total == 0) return;
  int i = 0, j = 0;
  auto const take = [&]() {
    bool const fromE = j >= f.n || (i < e.n && std::abs(e.v[i]) < std::abs(f.v[j]));
    return fromE ? e.v[i++] : f.v[j++];
  };
  double q = take();
  for (int m = 1; m < total; ++m) {
    double qn, hh;
    TwoSum(q, take(), qn, hh);
    if (hh != 0.0) h.v[h.n++] = hh;
    q = qn;
  }
  if (q != 0.0 || h.n == 0) h.v[h.n++] = q;
}

// h = e * b.
template <int N, int A>
void Scale(Expansion<A> const& e, double b, Expansion<N>& h) {
  static_assert(N >= 2 * A, "product does not fit");
  h.n = 0;
  if (e.n == 0) return;
  double q, hh;
  TwoProduct(e.v[0], b, q, hh);
  if (hh != 0.0) h.v[h.n++] = hh;
  for (int i = 1; i < e.n; ++i) {
    double p1, p0, s;
    TwoProduct(e.v[i], b, p1, p0);
    TwoSum(q, p0, s, hh);
    if (hh != 0.0) h.v[h.n++] = hh;
    TwoSum(p1, s, q, hh);
    if (hh != 0.0) h.v[h.n++] = hh;
  }
  if (q != 0.0 || h.n == 0) h.v[h.n++] = q;
}

// h = e * f, summing e scaled by each component of f; the running sum
// alternates between h and one scratch buffer instead of being copied.
template <int N, int A, int B>
void Mul(Expansion<A> const& e, Expansion<B> const& f, Expansion<N>& h) {
  static_assert(N >= 2 * A * B, "product does not fit");
  Expansion<N> scratch;
  Expansion<N>* cur = (f.n % 2 == 0) ? &h : &scratch;
  Expansion<N>* other = cur == &h ? &scratch : &h;
  cur->n = 0;
  Expansion<2 * A> part;
  for (int j = 0; j < f.n; ++j) {
    Scale(e, f.v[j], part);
    Sum(*cur, part, *other);
    std::swap(cur, other);
  }
  // f.n sums leave the result where it started only for an even count.
  if (cur != &h) {
    h.n = cur->n;
    for (int k = 0; k < cur->n; ++k) h.v[k] = cur->v[k];
  }
}

template <int N>
Expansion<N> Negate(Expansion<N> e) {
  for (int i = 0; i < e.n; ++i) e.v[i] = -e.v[i];
  return e;
}

Expansion<2> Diff(double a, double b) {
  Expansion<2> e;
  double x, y;
  TwoDiff(a, b, x, y);
  if (y != 0.0) e.v[e.n++] = y;
  if (x != 0.0 || e.n == 0) e.v[e.n++] = x;
  return e;
}

}  // namespace

int OrientExact(CPointD const& a, CPointD const& b, CPointD const& c) {
  Expansion<2> const acx = Diff(a.x, c.x), acy = Diff(a.y, c.y);
  Expansion<2> const bcx = Diff(b.x, c.x), bcy = Diff(b.y, c.y);
  Expansion<8> l, r;
  Mul(acx, bcy, l);
  Mul(acy, bcx, r);
  Expansion<16> det;
  Sum(l, Negate(r), det);
  return det.Sign();
}

int InCircleExact(CPointD const& a, CPointD const& b, CPointD const& c, CPointD const& d) {
  Expansion<2> const adx = Diff(a.x, d.x), ady = Diff(a.y, d.y);
  Expansion<2> const bdx = Diff(b.x, d.x), bdy = Diff(b.y, d.y);
  Expansion<2> const cdx = Diff(c.x, d.x), cdy = Diff(c.y, d.y);
  // lift(p) * (q.x r.y - r.x q.y) for the three cyclic turns of a, b, c.
  auto const term = [](Expansion<2> const& px, Expansion<2> const& py, Expansion<2> const& qx,
                       Expansion<2> const& qy, Expansion<2> const& rx, Expansion<2> const& ry,
                       Expansion<512>& out) {
    Expansion<8> xx, yy, m1, m2;
    Mul(px, px, xx);
    Mul(py, py, yy);
    Expansion<16> lift, cross;
    Sum(xx, yy, lift);
    Mul(qx, ry, m1);
    Mul(rx, qy, m2);
    Sum(m1, Negate(m2), cross);
    Mul(lift, cross, out);
  };
  Expansion<512> ta, tb, tc;
  term(adx, ady, bdx, bdy, cdx, cdy, ta);
  term(bdx, bdy, cdx, cdy, adx, ady, tb);
  term(cdx, cdy, adx, ady, bdx, bdy, tc);
  Expansion<1024> ab;
  Sum(ta, tb, ab);
  Expansion<1536> det;
  Sum(ab, tc, det);
  return det.Sign();
}

}  // namespace Math::graph_detail
