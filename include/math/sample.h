// Small statistics used when judging measured shapes: a running sample of
// values with mean and dispersion, a four-threshold classifier of a score,
// the Gaussian likelihood of a length against a sample of lengths, and a
// factor from the angle between two directions.
#pragma once

#include <math/types.h>

#include <cstdint>

namespace Stat {

// Sums of a sample of values. Mean and dispersion are cached lazily by the
// const accessors (which therefore write to the object: do not share one
// across threads without a lock). Every modifier marks the cache stale by
// zeroing it; a cached dispersion below 1e-12 also counts as stale, so a
// sample of identical values is recomputed on every access (with the same
// result).
class KMATH_API CSample2 {
 public:
  // All sums, the count and the cache zero.
  CSample2() = default;

  // Adds v k times (k = 0 only marks the cache stale).
  void AddVal(double v, unsigned int k);
  // Adds each of the n values once; a null v adds nothing.
  void AddVals(double const* v, unsigned int n);
  // Removes one v; whether v was ever added is not checked. On an empty
  // sample the count wraps to 2^32 - 1; a matching AddVal restores it.
  void DelVal(double v);
  // Merges the other sample's sums and count.
  CSample2& operator+=(CSample2 const& o);

  unsigned int Count() const { return m_count; }
  // sum / count; 0 for an empty sample, and the stale cached 0 after the
  // last value was deleted.
  double Mean() const;
  // Population variance sum(v^2) / count - mean^2, never negative (a
  // rounding residue below 0 is stored as 0); 0 for an empty sample.
  double Disp() const;
  // sqrt(Disp()).
  double Sigma() const;

 private:
  // Recomputes the cache when the count is not 0 and |dispersion| < 1e-12.
  void Refresh() const;

  double m_sum = 0.0;
  double m_sumSq = 0.0;
  std::uint32_t m_count = 0;
  mutable double m_mean = 0.0;
  mutable double m_disp = 0.0;
};

}  // namespace Stat

// Sorts a score into one of five classes by four ascending thresholds
// t0 <= t1 <= t2 <= t3.
class KMATH_API CEstimation {
 public:
  // -1 below t0, i for t[i] <= v < t[i+1], 3 at or above t3.
  enum EClass { kBelow = -1, kClass0 = 0, kClass1 = 1, kClass2 = 2, kClass3 = 3 };

  CEstimation(double t0, double t1, double t2, double t3);

  // The index i - 1 of the first threshold t[i] that v lies below by at
  // least 1e-12, or 3 when there is none: a value within 1e-12 of a
  // threshold belongs to the class that starts there. A NaN gives -1.
  EClass Classify(double v) const;
  // exp(-d^2 / (2 disp)): the Gaussian likelihood, 1 at d = 0, of a
  // deviation d under dispersion disp. Unguarded: disp = 0 gives 0, or a NaN
  // for d = 0 as well.
  static double ExpFactor(double d, double disp);

 protected:
  // All thresholds 0.
  CEstimation();
  void Init(double t0, double t1, double t2, double t3);

 private:
  double m_t[4] = {0.0, 0.0, 0.0, 0.0};
};

// A CEstimation of a length's likelihood, with the thresholds 0,
// ExpFactor(2, 1), ExpFactor(1, 1), ExpFactor(0.5, 1): deviations of more
// than 2, 1 and 0.5 standard deviations fall into classes 0, 1 and 2,
// closer ones into 3. The three values are computed once per process.
class KMATH_API CLenEstimation : public CEstimation {
 public:
  CLenEstimation();

  // ExpFactor of len - s.Mean() under s.Disp(), in (0, 1]. With oneSided a
  // length below the mean gives 1. A sample of fewer than 5 values takes
  // its standard deviation as at least a fifth of its mean. A length equal
  // to the mean gives 1 even when the dispersion is 0 (an otherwise 0/0);
  // any other length against a zero dispersion gives 0.
  static double Estimate(double len, Stat::CSample2 const& s, bool oneSided);
};

// Factors from the angle between two directions.
class KMATH_API CDirMeasure {
 public:
  // With c the cosine of the angle between a and b (clamped to [-1, 1]
  // against rounding; a NaN for a zero vector, which is not guarded):
  // mode 0 (c + 1) / 2, 1 for the same direction; mode 1 (1 - c) / 2;
  // mode 2 |c|, parallel either way; mode 3 sqrt(1 - c^2), 1 for
  // perpendicular; any other mode 0.
  static double Factor(CPointD const& a, CPointD const& b, int mode);
};
