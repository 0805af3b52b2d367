#include <math/affine.h>

#include <cmath>

#include "core/tolerance.h"

namespace Math {
namespace {

bool AllFinite(double const* v, unsigned int n) {
  for (unsigned int i = 0; i < n; ++i)
    if (!std::isfinite(v[i])) return false;
  return true;
}

void SetIdentity(double* m) {
  m[0] = 1.0;
  m[1] = 0.0;
  m[2] = 0.0;
  m[3] = 0.0;
  m[4] = 1.0;
  m[5] = 0.0;
  m[6] = 1.0;
  m[7] = 1.0;
}

// Copies the six coefficients only: the scales are derived, never taken
// from the caller.
void CopySix(double* to, double const* from) {
  for (int i = 0; i < 6; ++i) to[i] = from[i];
}

}  // namespace

bool CTfwInfo::operator==(CTfwInfo const& o) const {
  return std::abs(A - o.A) < tol::kFltEps && std::abs(D - o.D) < tol::kFltEps && std::abs(B - o.B) < tol::kFltEps &&
         std::abs(E - o.E) < tol::kFltEps && std::abs(1.0 - C / o.C) < tol::kFltEps &&
         std::abs(1.0 - F / o.F) < tol::kFltEps;
}

bool CTfwInfo::operator!=(CTfwInfo const& o) const { return !(*this == o); }

CAffineParams::CAffineParams() : m_direct{}, m_inverse{}, m_inverseValid(false) {}

CAffineParams::CAffineParams(double const* direct, double const* inverse) : CAffineParams() { Define(direct, inverse); }

CAffineParams::CAffineParams(CPointD const& origin, CSizeD const& scale, double angle) : CAffineParams() {
  Define(origin, scale, angle);
}

void CAffineParams::RecalcDistTrns(double* block) {
  block[6] = std::hypot(block[0], block[3]);
  block[7] = std::hypot(block[1], block[4]);
}

void CAffineParams::Define(double const* direct, double const* inverse) {
  if (!direct) {
    SetIdentity(m_direct);
    SetIdentity(m_inverse);
    m_inverseValid = true;
    return;
  }
  // Read both before writing either: a caller may hand back this object's
  // own blocks, swapped, to turn the map round in place.
  double d[6], i[6];
  CopySix(d, direct);
  if (inverse) CopySix(i, inverse);
  CopySix(m_direct, d);
  RecalcDistTrns(m_direct);
  if (inverse) {
    CopySix(m_inverse, i);
    RecalcDistTrns(m_inverse);
    m_inverseValid = true;
  } else {
    m_inverseValid = false;
  }
}

bool CAffineParams::Define(CRefPoint const& rp, CSizeD scale) {
  double const in[6] = {rp.src.x, rp.src.y, rp.dst.x, rp.dst.y, scale.cx, scale.cy};
  if (!AllFinite(in, 6)) return false;
  if (std::abs(scale.cx) < tol::kEps || std::abs(scale.cy) < tol::kEps) return false;
  double* m = m_direct;
  m[0] = scale.cx;
  m[1] = 0.0;
  m[2] = rp.dst.x - rp.src.x * scale.cx;
  m[3] = 0.0;
  m[4] = scale.cy;
  m[5] = rp.dst.y - scale.cy * rp.src.y;
  RecalcDistTrns(m);
  // Written from the reference pair rather than by inverting the block, so
  // rp.dst maps back onto rp.src to rounding whatever the scale.
  double* i = m_inverse;
  i[0] = 1.0 / scale.cx;
  i[1] = 0.0;
  i[2] = rp.src.x - rp.dst.x / scale.cx;
  i[3] = 0.0;
  i[4] = 1.0 / scale.cy;
  i[5] = rp.src.y - rp.dst.y / scale.cy;
  RecalcDistTrns(i);
  m_inverseValid = true;
  return true;
}

bool CAffineParams::Define(CRefPoint const* rps, unsigned int n) {
  if (!rps || n < 3) return false;
  m_inverseValid = false;

  double mx = 0.0, my = 0.0, mu = 0.0, mv = 0.0;
  for (unsigned int k = 0; k < n; ++k) {
    mx += rps[k].src.x;
    my += rps[k].src.y;
    mu += rps[k].dst.x;
    mv += rps[k].dst.y;
  }
  mx /= n;
  my /= n;
  mu /= n;
  mv /= n;

  // Centred sums: world coordinates around 1e6 would otherwise cancel away
  // most of their digits in the products.
  double sxx = 0.0, syy = 0.0, sxy = 0.0, sux = 0.0, suy = 0.0, svx = 0.0, svy = 0.0;
  for (unsigned int k = 0; k < n; ++k) {
    double const x = rps[k].src.x - mx, y = rps[k].src.y - my;
    double const u = rps[k].dst.x - mu, v = rps[k].dst.y - mv;
    sxx += x * x;
    syy += y * y;
    sxy += x * y;
    sux += u * x;
    suy += u * y;
    svx += v * x;
    svy += v * y;
  }

  double const det = sxx * syy - sxy * sxy;
  // Written as "not at least" so that a NaN determinant fails too.
  if (!(std::abs(det) >= tol::kDetEps)) return false;

  double m[8];
  m[0] = (sux * syy - suy * sxy) / det;
  m[1] = (suy * sxx - sux * sxy) / det;
  m[2] = mu - m[0] * mx - m[1] * my;
  m[3] = (svx * syy - svy * sxy) / det;
  m[4] = (svy * sxx - svx * sxy) / det;
  m[5] = mv - m[3] * mx - m[4] * my;
  // An infinity among the pairs can leave the determinant finite and the
  // coefficients not; keep the old map rather than store a poisoned one.
  if (!AllFinite(m, 6)) return false;
  CopySix(m_direct, m);
  RecalcDistTrns(m_direct);
  return true;
}

bool CAffineParams::Define(CTfwInfo const& tfw, bool absY) {
  // Never refused, a NaN included: callers treat this definition as one
  // that cannot fail and do not look at the result.
  double const h = absY ? std::abs(tfw.E) / 2.0 : tfw.E / 2.0;
  double* m = m_direct;
  m[0] = tfw.A;
  m[3] = tfw.D;
  m[1] = tfw.B;
  m[4] = tfw.E;
  // Only A and E enter the half-pixel shift: exact without rotation, and the
  // record written back by TfwInfo() undoes it the same way.
  m[2] = tfw.C - tfw.A / 2.0;
  m[5] = tfw.F - h;
  RecalcDistTrns(m);
  m_inverseValid = false;
  return true;
}

bool CAffineParams::Define(CPointD const& origin, CSizeD const& scale, double angle) {
  // Never refused either, for the same reason as the world-file definition.
  double const c = std::cos(angle), s = std::sin(angle);
  double* m = m_direct;
  m[0] = scale.cx * c;
  m[1] = -s * scale.cy;
  m[2] = origin.x;
  m[3] = scale.cx * s;
  m[4] = c * scale.cy;
  m[5] = origin.y;
  RecalcDistTrns(m);
  m_inverseValid = false;
  return true;
}

bool CAffineParams::DefineInverse() {
  double const* m = m_direct;
  double const det = m[0] * m[4] - m[1] * m[3];
  if (!(std::abs(det) >= tol::kDetEps)) return false;
  double* i = m_inverse;
  i[0] = m[4] / det;
  i[1] = -m[1] / det;
  i[3] = -m[3] / det;
  i[4] = m[0] / det;
  i[2] = -(m[5] * i[1] + m[2] * i[0]);
  i[5] = -(i[4] * m[5] + m[2] * i[3]);
  RecalcDistTrns(i);
  m_inverseValid = true;
  return true;
}

CTransform<CAffineImpl> CAffineParams::Inverse() {
  if (!m_inverseValid) DefineInverse();
  return CTransform<CAffineImpl>(m_inverse, 0);
}

void CAffineParams::Offset(CPointD const& d) {
  m_direct[2] += d.x;
  m_direct[5] += d.y;
  m_inverseValid = false;
}

bool CAffineParams::HasRotation() const {
  return !(std::abs(m_direct[1]) < tol::kDetEps && std::abs(m_direct[3]) < tol::kDetEps);
}

CTfwInfo CAffineParams::TfwInfo(bool absY) const {
  double const* m = m_direct;
  double const h = absY ? std::abs(m[4]) / 2.0 : m[4] / 2.0;
  CTfwInfo t;
  t.A = m[0];
  t.D = m[3];
  t.B = m[1];
  t.E = m[4];
  t.C = m[0] / 2.0 + m[2];
  t.F = h + m[5];
  return t;
}

CAffineParams& CAffineParams::operator*=(CAffineParams const& other) {
  double const* a = m_direct;
  double const* b = other.m_direct;
  // Rows (m0 m1 m2), (m3 m4 m5), (0 0 1): this * other, so `other` applies
  // first. A temporary keeps `p *= p` correct.
  double r[8];
  r[0] = a[0] * b[0] + a[1] * b[3];
  r[1] = a[0] * b[1] + a[1] * b[4];
  r[2] = a[0] * b[2] + a[1] * b[5] + a[2];
  r[3] = a[3] * b[0] + a[4] * b[3];
  r[4] = a[3] * b[1] + a[4] * b[4];
  r[5] = a[3] * b[2] + a[4] * b[5] + a[5];
  CopySix(m_direct, r);
  RecalcDistTrns(m_direct);
  m_inverseValid = false;
  return *this;
}

}  // namespace Math
