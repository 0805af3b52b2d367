#include <math/reftrans.h>

#include <algorithm>
#include <cmath>

#include "core/tolerance.h"

namespace Math {
namespace {

// One least-squares fit of a second-order map, from the `from` point of
// every pair to its `to` point. Writes the twelve coefficients to `out` only
// on success, so a failed fit leaves the caller's block as it was.
bool FitSecondOrder(CRefPoint const* rps, unsigned int n, bool forward, double* out) {
  double N[6][6] = {};
  double ru[6] = {};
  double rv[6] = {};
  for (unsigned int k = 0; k < n; ++k) {
    CPointD const& p = forward ? rps[k].src : rps[k].dst;
    CPointD const& q = forward ? rps[k].dst : rps[k].src;
    double const f[6] = {p.x * p.x, p.y * p.y, p.x * p.y, p.x, p.y, 1.0};
    for (int i = 0; i < 6; ++i) {
      for (int j = i; j < 6; ++j) N[i][j] += f[i] * f[j];
      ru[i] += f[i] * q.x;
      rv[i] += f[i] * q.y;
    }
  }

  // Cholesky N = L*L^T from the upper triangle. A negative pivot is not
  // tested: its square root is a NaN, which poisons the diagonal product
  // and fails the test below.
  double L[6][6] = {};
  for (int j = 0; j < 6; ++j) {
    double s = N[j][j];
    for (int k = 0; k < j; ++k) s -= L[j][k] * L[j][k];
    L[j][j] = std::sqrt(s);
    for (int i = j + 1; i < 6; ++i) {
      double t = N[j][i];
      for (int k = 0; k < j; ++k) t -= L[i][k] * L[j][k];
      L[i][j] = t / L[j][j];
    }
  }
  double prod = 1.0;
  for (int j = 0; j < 6; ++j) prod *= L[j][j];
  // "Not at least" so that a NaN product (a zero pivot met as 0/0) fails.
  if (!(std::abs(prod) >= tol::kEps)) return false;

  double c[12];
  double const* rhs[2] = {ru, rv};
  for (int r = 0; r < 2; ++r) {
    double z[6];
    for (int i = 0; i < 6; ++i) {
      double s = rhs[r][i];
      for (int k = 0; k < i; ++k) s -= L[i][k] * z[k];
      z[i] = s / L[i][i];
    }
    double* x = c + 6 * r;
    for (int i = 5; i >= 0; --i) {
      double s = z[i];
      for (int k = i + 1; k < 6; ++k) s -= L[k][i] * x[k];
      x[i] = s / L[i][i];
    }
  }
  // A NaN or infinity among the targets leaves N sound but the solution
  // not; such a block would map everything to NaN.
  for (double v : c)
    if (!std::isfinite(v)) return false;
  for (int i = 0; i < 12; ++i) out[i] = c[i];
  return true;
}

}  // namespace

// ---- CLinearTrans ----------------------------------------------------------

CLinearTrans::CLinearTrans() { SetDummyTrans(); }

CLinearTrans::CLinearTrans(double const* direct, double const* inverse) {
  if (!Define(direct, inverse)) SetDummyTrans();
}

CLinearTrans::CLinearTrans(CRefPoint const* rps, unsigned int n) {
  if (!Define(rps, n)) SetDummyTrans();
}

void CLinearTrans::SetDummyTrans() {
  m_direct[0] = m_inverse[0] = 1.0;
  m_direct[1] = m_inverse[1] = 0.0;
  m_direct[2] = m_inverse[2] = 0.0;
  m_direct[3] = m_inverse[3] = 0.0;
}

bool CLinearTrans::Define(double const* direct, double const* inverse) {
  if (!direct || !inverse) return false;
  // Read both before writing either: the caller may pass this object's own
  // blocks, swapped.
  double d[4], i[4];
  std::copy(direct, direct + 4, d);
  std::copy(inverse, inverse + 4, i);
  std::copy(d, d + 4, m_direct);
  std::copy(i, i + 4, m_inverse);
  return true;
}

bool CLinearTrans::Define(CRefPoint const* rps, unsigned int n) {
  if (!rps || n < 2) return false;
  CRefPoint const& r0 = rps[0];
  CRefPoint const& r1 = rps[1];
  double const mx = (r0.src.x + r1.src.x) / 2.0, my = (r0.src.y + r1.src.y) / 2.0;
  double const mu = (r0.dst.x + r1.dst.x) / 2.0, mv = (r0.dst.y + r1.dst.y) / 2.0;

  double ss = 0.0, st = 0.0, dot = 0.0, cross = 0.0;
  CRefPoint const* const pair[2] = {&r0, &r1};
  for (CRefPoint const* r : pair) {
    double const dx = r->src.x - mx, dy = r->src.y - my;
    double const du = r->dst.x - mu, dv = r->dst.y - mv;
    ss += dx * dx + dy * dy;
    st += du * du + dv * dv;
    dot += du * dx + dv * dy;
    cross += dv * dx - du * dy;
  }
  if (ss < tol::kFltEps || st < tol::kFltEps) return false;
  // A NaN fails neither comparison above; an overflow to infinity would
  // turn a and b into NaN.
  if (!std::isfinite(ss) || !std::isfinite(st)) return false;

  double const a = dot / ss, b = cross / ss;
  m_direct[0] = a;
  m_direct[1] = b;
  m_direct[2] = mu - a * mx + b * my;
  m_direct[3] = mv - a * my - b * mx;
  // Fitted from the same pairs instead of inverting (a, b). With two pairs
  // the centred offsets are opposite, so dot^2 + cross^2 = Ss*St and this is
  // the algebraic inverse, reached without dividing by a^2 + b^2.
  double const ai = dot / st, bi = -cross / st;
  m_inverse[0] = ai;
  m_inverse[1] = bi;
  m_inverse[2] = mx - ai * mu + bi * mv;
  m_inverse[3] = my - ai * mv - bi * mu;
  return true;
}

CLinearTrans CLinearTrans::Inverse() const {
  CLinearTrans t;
  t.Define(m_inverse, m_direct);
  return t;
}

void CLinearTrans::Offset(CPointD const& d) {
  m_direct[2] += d.x;
  m_direct[3] += d.y;
  // The new inverse is q -> old_inverse(q - d); only its shift changes, by
  // the rotated and scaled image of -d.
  double const ai = m_inverse[0], bi = m_inverse[1];
  m_inverse[2] -= ai * d.x - bi * d.y;
  m_inverse[3] -= bi * d.x + ai * d.y;
}

// ---- CSqrTrans -------------------------------------------------------------

CSqrTrans::CSqrTrans() { SetDummyTrans(); }

CSqrTrans::CSqrTrans(double const* direct, double const* inverse) {
  if (!Define(direct, inverse)) SetDummyTrans();
}

CSqrTrans::CSqrTrans(CRefPoint const* rps, unsigned int n) {
  if (!Define(rps, n)) SetDummyTrans();
}

void CSqrTrans::SetDummyTrans() {
  for (int i = 0; i < 12; ++i) m_direct[i] = m_inverse[i] = 0.0;
  // c4 (the y term of x') and c11 (the constant of y'): (x, y) -> (y, 1).
  m_direct[4] = m_inverse[4] = 1.0;
  m_direct[11] = m_inverse[11] = 1.0;
}

bool CSqrTrans::Define(double const* direct, double const* inverse) {
  if (!direct || !inverse) return false;
  // As for CLinearTrans: the arguments may be this object's own blocks.
  double d[12], i[12];
  std::copy(direct, direct + 12, d);
  std::copy(inverse, inverse + 12, i);
  std::copy(d, d + 12, m_direct);
  std::copy(i, i + 12, m_inverse);
  return true;
}

bool CSqrTrans::Define(CRefPoint const* rps, unsigned int n) {
  if (!rps || n < 6) return false;
  if (!FitSecondOrder(rps, n, true, m_direct)) return false;
  return FitSecondOrder(rps, n, false, m_inverse);
}

CSqrTrans CSqrTrans::Inverse() const {
  CSqrTrans t;
  t.Define(m_inverse, m_direct);
  return t;
}

}  // namespace Math
