#include <math/sample.h>

#include <cmath>

#include "core/tolerance.h"

namespace Stat {

void CSample2::AddVal(double v, unsigned int k) {
  m_count += k;
  m_sum += k * v;
  m_sumSq += k * (v * v);
  m_mean = m_disp = 0.0;
}

void CSample2::AddVals(double const* v, unsigned int n) {
  if (v == nullptr) return;
  for (unsigned int i = 0; i < n; ++i) AddVal(v[i], 1);
}

void CSample2::DelVal(double v) {
  // Unchecked on purpose: from an empty sample the count wraps round to
  // 2^32 - 1, and a matching AddVal restores the count and the sums.
  --m_count;
  m_sum -= v;
  m_sumSq -= v * v;
  m_mean = m_disp = 0.0;
}

CSample2& CSample2::operator+=(CSample2 const& o) {
  m_sum += o.m_sum;
  m_sumSq += o.m_sumSq;
  m_count += o.m_count;
  m_mean = m_disp = 0.0;
  return *this;
}

void CSample2::Refresh() const {
  if (m_count == 0 || !(std::abs(m_disp) < Math::tol::kEps)) return;
  m_mean = m_sum / m_count;
  double const disp = m_sumSq / m_count - m_mean * m_mean;
  // Identical values leave a rounding residue either side of 0; a negative
  // variance would make Sigma a NaN.
  m_disp = disp > 0 ? disp : 0.0;
}

double CSample2::Mean() const {
  Refresh();
  return m_mean;
}

double CSample2::Disp() const {
  Refresh();
  return m_disp;
}

double CSample2::Sigma() const { return std::sqrt(Disp()); }

}  // namespace Stat

// ---- estimators -----------------------------------------------------------------

namespace {

// Below this many values the sample's own dispersion is not trusted.
constexpr unsigned int kSmallSample = 5;
// ... and its standard deviation is taken as at least a fifth of the mean.
constexpr double kMinRelDisp = 0.04;

}  // namespace

CEstimation::CEstimation() = default;

CEstimation::CEstimation(double t0, double t1, double t2, double t3) { Init(t0, t1, t2, t3); }

void CEstimation::Init(double t0, double t1, double t2, double t3) {
  m_t[0] = t0;
  m_t[1] = t1;
  m_t[2] = t2;
  m_t[3] = t3;
}

CEstimation::EClass CEstimation::Classify(double v) const {
  // Without this a NaN, below nothing, would land in the best class.
  if (std::isnan(v)) return kBelow;
  for (int i = 0; i < 4; ++i) {
    if (Math::tol::LtBeyond(v, m_t[i])) return static_cast<EClass>(i - 1);
  }
  return kClass3;
}

double CEstimation::ExpFactor(double d, double disp) { return std::exp(-d * d / (2 * disp)); }

CLenEstimation::CLenEstimation() {
  static double const t1 = ExpFactor(2, 1);
  static double const t2 = ExpFactor(1, 1);
  static double const t3 = ExpFactor(0.5, 1);
  Init(0, t1, t2, t3);
}

double CLenEstimation::Estimate(double len, Stat::CSample2 const& s, bool oneSided) {
  double const mean = s.Mean();
  double const d = len - mean;
  if (oneSided && d < 0) return 1.0;
  double disp = s.Disp();
  if (s.Count() < kSmallSample) {
    double const floor = kMinRelDisp * mean * mean;
    if (floor > disp) disp = floor;
  }
  if (d == 0) return 1.0;
  return ExpFactor(d, disp);
}

double CDirMeasure::Factor(CPointD const& a, CPointD const& b, int mode) {
  double c = (a.x * b.x + a.y * b.y) / (std::hypot(a.x, a.y) * std::hypot(b.x, b.y));
  // Parallel vectors can round to |c| a hair above 1; sqrt(1 - c^2) would
  // then be a NaN. A NaN c (zero vector) passes through unchanged.
  if (c > 1) c = 1;
  if (c < -1) c = -1;
  switch (mode) {
    case 0:
      return (c + 1) / 2;
    case 1:
      return (1 - c) / 2;
    case 2:
      return std::abs(c);
    case 3:
      return std::sqrt(1 - c * c);
    default:
      return 0.0;
  }
}
