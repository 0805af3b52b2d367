#include <math/moments.h>

#include <cmath>
#include <type_traits>

#include "core/tolerance.h"

namespace Math {

static_assert(sizeof(CRawMoments) == 2 + 10 * sizeof(double), "CRawMoments must stay packed");
static_assert(sizeof(CRCMoments) == sizeof(CRawMoments) + 7 * sizeof(double), "CRCMoments must stay packed");
static_assert(std::is_trivially_copyable<CRCMoments>::value, "moment records are copied as bytes");

namespace {

// 16 pi^2: the first affine invariant of every ellipse is its reciprocal.
constexpr double kEllipseAmi = 157.91367041742973;
// 108: the same for every triangle.
constexpr double kTriangleAmi = 108.0;

// The second-order integrals over the segments of a ring or a curve: segment
// (x0, y0)-(x1, y1) adds its polynomial times a weight, twice its signed
// triangle with the origin for a region and its length for a curve. One
// definition, so the region and the curve moments cannot drift apart.
struct CSecondSums {
  double sxx = 0, sxy = 0, syy = 0;
  void Add(double x0, double y0, double x1, double y1, double w) {
    sxx += (x0 * x0 + x0 * x1 + x1 * x1) * w;
    sxy += (2 * x0 * y0 + x0 * y1 + x1 * y0 + 2 * x1 * y1) * w;
    syy += (y0 * y0 + y0 * y1 + y1 * y1) * w;
  }
};

// A ratio folded into [0, 1]: 1 is a perfect match from either side.
double Fold(double v) { return tol::GtBeyond(v, 1.0) ? 1.0 / v : v; }

// log10 |v| when |v| passes the floor. The sign is not put back: the factor
// applied is the sign of |v|, always +1.
bool TakeLog(double& v) {
  double const a = std::abs(v);
  if (!(a > tol::kLogFloor)) return false;
  v = std::log10(a);
  return true;
}

// The semi-definiteness check shared by the area and edge moments: a
// covariance with a clearly negative variance or determinant is rounding
// noise of a degenerate shape, not a shape.
void ValidateSecond(double& mu20, double& mu11, double& mu02) {
  if (mu20 < -tol::kEps || mu02 < -tol::kEps || mu11 * mu11 - mu20 * mu02 > tol::kEps) {
    mu20 = mu11 = mu02 = 0.0;
  }
}

}  // namespace

// ---- raw moments -----------------------------------------------------------

CRawMoments::CRawMoments() : CRawMoments(static_cast<unsigned char>(3)) {}

CRawMoments::CRawMoments(unsigned char order)
    : nOrder(order), m00(0), m10(0), m01(0), m20(0), m11(0), m02(0), m30(0), m21(0), m12(0), m03(0) {}

CRawMoments::CRawMoments(CPointD const* pts, unsigned n) : CRawMoments(static_cast<unsigned char>(0)) {
  if (pts == nullptr || n < 2) return;
  double a = 0, sx = 0, sy = 0, sxxx = 0, sxxy = 0, sxyy = 0, syyy = 0;
  CSecondSums second;
  for (unsigned i = 1; i < n; ++i) {
    double const x0 = pts[i - 1].x, y0 = pts[i - 1].y;
    double const x1 = pts[i].x, y1 = pts[i].y;
    double const c = x0 * y1 - x1 * y0;
    a += c;
    sx += (x0 + x1) * c;
    sy += (y0 + y1) * c;
    second.Add(x0, y0, x1, y1, c);
    sxxx += (x0 * x0 + x1 * x1) * (x0 + x1) * c;
    sxxy += ((3 * y1 + y0) * x1 * x1 + 2 * x1 * x0 * (y0 + y1) + (3 * y0 + y1) * x0 * x0) * c;
    sxyy += (2 * y1 * y0 * (x0 + x1) + (3 * x0 + x1) * y0 * y0 + (3 * x1 + x0) * y1 * y1) * c;
    syyy += (y0 * y0 + y1 * y1) * (y0 + y1) * c;
  }
  // The negated test also refuses a NaN or infinite area, which would
  // otherwise pass as a valid order-3 record full of NaNs.
  if (!(std::abs(a) > tol::kFltEps) || !std::isfinite(a)) return;
  // A clockwise ring integrates to minus the moments: flip every scale.
  double const sign = a < 0 ? -1.0 : 1.0;
  nOrder = 3;
  m00 = sign * a / 2;
  m10 = sign * sx / 6;
  m01 = sign * sy / 6;
  m20 = sign * second.sxx / 12;
  m11 = sign * second.sxy / 24;
  m02 = sign * second.syy / 12;
  m30 = sign * sxxx / 20;
  m21 = sign * sxxy / 60;
  m12 = sign * sxyy / 60;
  m03 = sign * syyy / 20;
}

void CRawMoments::AddPoint(CPoint const& p, double w) {
  double const x = p.x;
  double const y = p.y;
  m00 += w;
  m10 += x * w;
  m01 += y * w;
  m11 += y * (x * w);
  if (nOrder > 1) {
    m20 += x * (x * w);
    m02 += (y * w) * y;
  }
  if (nOrder > 2) {
    double const xxw = x * x * w;
    double const yyw = y * y * w;
    m30 += x * xxw;
    m21 += y * xxw;
    m12 += x * yyw;
    m03 += y * yyw;
  }
}

CPointD CRawMoments::Centroid() const { return {m10 / m00, m01 / m00}; }

bool CRawMoments::IsValid() const { return std::abs(m00) >= tol::kFltEps; }

// ---- central moments ---------------------------------------------------------

CRCMoments::CRCMoments()
    : CRawMoments(static_cast<unsigned char>(0)), mu20(0), mu11(0), mu02(0), mu30(0), mu21(0), mu12(0), mu03(0) {}

CRCMoments::CRCMoments(CRawMoments const& raw)
    : CRawMoments(raw), mu20(0), mu11(0), mu02(0), mu30(0), mu21(0), mu12(0), mu03(0) {
  if (!IsValid()) return;
  double const cx = m10 / m00;
  double const cy = m01 / m00;
  mu20 = m20 - m10 * cx;
  mu11 = m11 - m10 * cy;
  mu02 = m02 - m01 * cy;
  if (nOrder > 2) {
    mu30 = m30 - (3 * mu20 + m10 * cx) * cx;
    mu21 = m21 - 2 * cx * mu11 - m20 * cy;
    mu12 = m12 - 2 * cy * mu11 - cx * m02;
    mu03 = m03 - cy * (3 * mu02 + m01 * cy);
  }
}

double CRCMoments::Orientation() const { return 0.5 * std::atan2(2 * mu11, mu20 - mu02); }

CSizeD CRCMoments::PrimaryAxes() const {
  double const d = mu20 - mu02;
  double const r = std::sqrt(d * d + 4 * mu11 * mu11);
  double const s = mu02 + mu20;
  return {std::sqrt(2 * (s + r) / m00), std::sqrt(2 * (s - r) / m00)};
}

double CRCMoments::Eccentricity() const {
  CSizeD const axes = PrimaryAxes();
  return axes.cy / axes.cx;
}

CSizeD CRCMoments::Skewness() const { return {mu30 / (std::sqrt(mu20) * mu20), mu03 / (std::sqrt(mu02) * mu02)}; }

double CRCMoments::AMI1() const {
  double const m2 = m00 * m00;
  return (mu02 * mu20 - mu11 * mu11) / (m2 * m2);
}

void CRCMoments::Descriptors(double& ellipse, double& triangle) const {
  double const i1 = AMI1();
  ellipse = Fold(kEllipseAmi * i1);
  triangle = Fold(kTriangleAmi * i1);
}

// ---- Hu invariants -------------------------------------------------------------

CHuMoments::CHuMoments() : h{0, 0, 0, 0, 0, 0, 0} {}

CHuMoments::CHuMoments(CRCMoments const& rc) {
  double const s = std::abs(1.0 / rc.m00);
  double const s2 = s * s;
  double const s3 = s2 * std::sqrt(s);
  double const n20 = rc.mu20 * s2, n11 = rc.mu11 * s2, n02 = rc.mu02 * s2;
  double const n30 = rc.mu30 * s3, n21 = rc.mu21 * s3, n12 = rc.mu12 * s3, n03 = rc.mu03 * s3;

  double const a = n30 + n12;
  double const b = n21 + n03;
  double const p = n30 - 3 * n12;
  double const q = 3 * n21 - n03;
  double const d = n20 - n02;
  double const aa = a * a;
  double const bb = b * b;

  h[0] = n20 + n02;
  h[1] = d * d + 4 * n11 * n11;
  h[2] = p * p + q * q;
  h[3] = aa + bb;
  h[4] = p * a * (aa - 3 * bb) + q * b * (3 * aa - bb);
  h[5] = d * (aa - bb) + 4 * n11 * a * b;
  h[6] = q * a * (aa - 3 * bb) - p * b * (3 * aa - bb);
}

double Difference(CHuMoments const& a, CHuMoments const& b, int method) {
  if (method < 0 || method > 2) return 0.0;
  double result = 0.0;
  for (int i = 0; i < 7; ++i) {
    double va = a.h[i];
    double vb = b.h[i];
    switch (method) {
      case 0: {
        double const ia = TakeLog(va) ? 1.0 / va : va;
        double const ib = TakeLog(vb) ? 1.0 / vb : vb;
        result += std::abs(ia - ib);
        break;
      }
      case 1:
        TakeLog(va);
        TakeLog(vb);
        result += std::abs(va - vb);
        break;
      default: {
        bool la = TakeLog(va);
        bool lb = TakeLog(vb);
        if (la != lb) {
          // One value just under the floor: shifting both a decade up keeps
          // the pair on the same (logarithmic) scale when it can.
          va = a.h[i] * 10;
          vb = b.h[i] * 10;
          la = TakeLog(va);
          lb = TakeLog(vb);
          if (la != lb) {
            va = a.h[i];
            vb = b.h[i];
          }
        }
        if (!la && !lb) break;
        double const d = std::abs(va - vb) / (std::abs(va) + std::abs(vb));
        // A maximum, not a sum; a 0/0 (both logs 0) is skipped by the test.
        if (d > result) result = d;
        break;
      }
    }
  }
  return result;
}

// ---- area and edge moments -------------------------------------------------------

CAreaMoments1::CAreaMoments1(CPointD const* pts, unsigned n) : dArea(0), dCx(0), dCy(0) {
  if (pts == nullptr || n < 3) return;
  double a = 0, sx = 0, sy = 0;
  CPointD prev = pts[n - 1];
  for (unsigned i = 0; i < n; ++i) {
    CPointD const p = pts[i];
    double const c = prev.x * p.y - p.x * prev.y;
    a += c;
    sx += (p.x + prev.x) * c;
    sy += (p.y + prev.y) * c;
    prev = p;
  }
  double const area = a / 2;
  if (!std::isfinite(area)) return;
  if (std::abs(area) < tol::kFltEps) {
    // Left undivided on purpose: callers that look at a zero-area record
    // still see which way the sums went.
    dCx = sx;
    dCy = sy;
    return;
  }
  dArea = area;
  dCx = sx / (6 * area);
  dCy = sy / (6 * area);
}

CAreaMoments2::CAreaMoments2(CPointD const* pts, unsigned n) : CAreaMoments1(pts, n), dMu20(0), dMu11(0), dMu02(0) {
  if (!(std::abs(dArea) >= tol::kEps)) return;
  // Second pass about the centroid: integrating in centred coordinates
  // avoids the cancellation of m20 - A cx^2 on outlines far from the origin.
  CSecondSums second;
  double px = pts[n - 1].x - dCx;
  double py = pts[n - 1].y - dCy;
  for (unsigned i = 0; i < n; ++i) {
    double const x = pts[i].x - dCx;
    double const y = pts[i].y - dCy;
    second.Add(px, py, x, y, px * y - x * py);
    px = x;
    py = y;
  }
  double const sign = dArea < 0 ? -1.0 : 1.0;
  dMu20 = sign * second.sxx / 12;
  dMu11 = sign * second.sxy / 24;
  dMu02 = sign * second.syy / 12;
  ValidateSecond(dMu20, dMu11, dMu02);
}

CEdgeMoments2::CEdgeMoments2(CPointD const* pts, unsigned n)
    : dLength(0), dCx(0), dCy(0), dMu20(0), dMu11(0), dMu02(0) {
  if (pts == nullptr || n == 0) return;
  double len = 0, sx = 0, sy = 0;
  CSecondSums second;
  for (unsigned i = 1; i < n; ++i) {
    double const x0 = pts[i - 1].x, y0 = pts[i - 1].y;
    double const x1 = pts[i].x, y1 = pts[i].y;
    // Not hypot: at coordinates where the squares overflow, the second
    // moments overflow anyway, and sqrt is several times faster.
    double const dx = x1 - x0, dy = y1 - y0;
    double const l = std::sqrt(dx * dx + dy * dy);
    len += l;
    sx += (x0 + x1) * l;
    sy += (y0 + y1) * l;
    second.Add(x0, y0, x1, y1, l);
  }
  if (!std::isfinite(len)) return;
  if (std::abs(len) <= tol::kFltEps) {
    dCx = pts[0].x;
    dCy = pts[0].y;
    return;
  }
  dLength = len;
  dCx = sx / (2 * len);
  dCy = sy / (2 * len);
  dMu20 = second.sxx / 3 - dCx * dCx * len;
  dMu11 = second.sxy / 6 - dCx * dCy * len;
  dMu02 = second.syy / 3 - dCy * dCy * len;
  ValidateSecond(dMu20, dMu11, dMu02);
}

}  // namespace Math
