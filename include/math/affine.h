// Affine maps between raster (pixel) and world coordinates, the six-number
// world-file record, and the light handles that apply one direction of a map.
//
// A coefficient block is eight doubles: m0 m1 m2 m3 m4 m5 and the two axis
// scales, mapping x' = m0*x + m1*y + m2, y' = m3*x + m4*y + m5; entry 6 is
// hypot(m0, m3) (length of the image of the unit x vector), entry 7 is
// hypot(m1, m4). Every operation that changes m0..m5 recomputes the scales.
#pragma once

#include <math/types.h>

#include <cmath>
#include <cstdint>

namespace Math {

// A reference pair: `src` in the source system (usually pixels), `dst` the
// same point in the target system.
struct CRefPoint {
  CPointD src;
  CPointD dst;
};

// The six numbers of a raster world file in the file's line order: A (x size
// of a pixel), D (rotation term of y), B (rotation term of x), E (y size of a
// pixel, negative for north-up images), C and F (world position of the
// centre of the first pixel). Held in memory only; the library reads and
// writes no files.
struct KMATH_API CTfwInfo {
  double A;
  double D;
  double B;
  double E;
  double C;
  double F;

  // Tolerant equality: A, D, B, E each within 1.1920928955078125e-07
  // absolutely; C and F by ratio, |1 - C/o.C| < 1.1920928955078125e-07 and
  // the same for F. The ratio test is relative to `o`, so it is not quite
  // symmetric, and a zero C or F in `o` makes the records unequal (0/0 is a
  // NaN), even when comparing a record with itself. Any NaN makes them
  // unequal.
  bool operator==(CTfwInfo const& o) const;
  bool operator!=(CTfwInfo const& o) const;
};

// The arithmetic of one affine coefficient block (layout above): the policy
// behind CTransform<CAffineImpl>.
struct CAffineImpl {
  static CPointD Map(double const* m, CPointD const& p);
  // The linear part only: how a displacement (not a position) maps.
  static CPointD MapVector(double const* m, CPointD const& v);
  static double ScaleX(double const* m) { return m[6]; }
  static double ScaleY(double const* m) { return m[7]; }
};

KMATH_FP_CONTRACT_OFF_BEGIN
inline CPointD CAffineImpl::Map(double const* m, CPointD const& p) {
  return {m[0] * p.x + m[1] * p.y + m[2], m[3] * p.x + m[4] * p.y + m[5]};
}
inline CPointD CAffineImpl::MapVector(double const* m, CPointD const& v) {
  return {m[0] * v.x + m[1] * v.y, m[3] * v.x + m[4] * v.y};
}
KMATH_FP_CONTRACT_OFF_END

// A handle that applies one coefficient block owned by someone else (for
// CTransform<CAffineImpl>, the direct or the inverse block of a
// CAffineParams). It holds a pointer and a 16-bit flags field that is zero
// for every handle the library makes and carries no meaning yet. The handle
// is valid while its owner lives and is not redefined; it sees later edits
// of the block. Copy it freely; it never owns anything.
template <class Impl>
class CTransform {
 public:
  // `block` must point at a coefficient block of Impl's layout and outlive
  // the handle.
  explicit CTransform(double const* block, std::uint16_t flags = 0) : m_block(block), m_flags(flags) {}

  // The image of the point p.
  CPointD operator()(CPointD const& p) const { return Impl::Map(m_block, p); }
  // The image of the displacement v (the shift does not apply).
  CPointD Vector(CPointD const& v) const { return Impl::MapVector(m_block, v); }

  // Length of the image of the unit x vector (entry 6 of the block).
  double ScaleX() const { return Impl::ScaleX(m_block); }
  // Length of the image of the unit y vector (entry 7 of the block).
  double ScaleY() const { return Impl::ScaleY(m_block); }

  // Length of the image of a distance d measured along the source x axis
  // (alongX) or the y axis: |d| times that axis' scale. For a map with shear
  // or unequal scales other directions stretch differently; map a vector
  // with Vector() and take its length for those.
  double Distance(double d, bool alongX) const { return std::abs(d) * (alongX ? ScaleX() : ScaleY()); }
  // Direction angle (radians, atan2 range) of the image of the unit vector at
  // angle a. Exact for any affine map, since the image of a direction does
  // not depend on where it is taken. A singular map can give atan2(0, 0) = 0.
  double Angle(double a) const {
    CPointD const v = Vector(CPointD{std::cos(a), std::sin(a)});
    return std::atan2(v.y, v.x);
  }

  // The block itself (eight doubles for CAffineImpl) and the flags field.
  double const* Coefficients() const { return m_block; }
  std::uint16_t Flags() const { return m_flags; }

 private:
  double const* m_block;
  std::uint16_t m_flags;
};

// A plane affine map with its inverse, for raster-to-world conversion. The
// inverse block is trusted only while InverseValid(); Inverse() refreshes a
// stale one. Set it from coefficients, one reference point and a scale, a
// least-squares fit, an origin with scale and rotation, or a world-file
// record.
class KMATH_API CAffineParams {
 public:
  // Both blocks all zero and the inverse flagged stale: a Define must follow
  // (the zero map is singular, so Inverse() leaves the inverse at zero).
  CAffineParams();
  // With a null `direct`: both blocks the identity, the inverse valid.
  // Otherwise Define(direct, inverse).
  CAffineParams(double const* direct, double const* inverse);
  // Define(origin, scale, angle).
  CAffineParams(CPointD const& origin, CSizeD const& scale, double angle);

  // Copies six coefficients from `direct`; with an `inverse`, copies six from
  // it too and trusts it as the inverse (it is not checked), else flags the
  // inverse stale. Both are read before either block is written, so this
  // object's own blocks may be passed, e.g. swapped to turn the map round.
  // A null `direct` sets the identity with a valid inverse, as the
  // constructor does.
  void Define(double const* direct, double const* inverse);
  // The axis-parallel scaling x' = cx*x + ..., y' = cy*y + ... that maps
  // rp.src onto rp.dst, with its exact inverse (flag set). False, nothing
  // changed, when |cx| or |cy| is below 1e-12, or any number given is a NaN
  // or an infinity.
  bool Define(CRefPoint const& rp, CSizeD scale);
  // Least-squares affine fit of dst as a function of src over the n pairs,
  // from centred sums. False, nothing changed, for n < 3 or a null `rps`.
  // Otherwise flags the inverse stale first, whatever the outcome (Inverse()
  // fits nothing; it inverts the fitted map), and returns false for a
  // degenerate source set: |Sxx*Syy - Sxy^2| of the centred source sums
  // below 1e-10 (coincident or collinear sources), or a fit that is not
  // finite (a NaN or infinity among the pairs); then the blocks keep their
  // previous contents. The 1e-10 is absolute: sources spread over well under
  // a unit (degrees over a few metres) can count as degenerate.
  bool Define(CRefPoint const* rps, unsigned int n);
  // From a world-file record, flagging the inverse stale. The record refers
  // to pixel centres and the block to pixel corners; the half-pixel shift
  // uses A and E only (exact for records without rotation): m2 = C - A/2,
  // m5 = F - E/2, or F - |E|/2 with absY. Always true: a record holding a
  // NaN or an infinity is stored as it is and maps to NaN.
  bool Define(CTfwInfo const& tfw, bool absY);
  // Scale and rotation by `angle` (radians, counter-clockwise in y-up
  // coordinates) about the origin, then a shift so that (0, 0) maps onto
  // `origin`: m0 = cx*cos, m1 = -cy*sin, m3 = cx*sin, m4 = cy*cos. Flags the
  // inverse stale. Always true, like the world-file definition: a NaN or an
  // infinity is stored as it is.
  bool Define(CPointD const& origin, CSizeD const& scale, double angle);

  // Handle to the direct block.
  CTransform<CAffineImpl> Direct() const { return CTransform<CAffineImpl>(m_direct, 0); }
  // Handle to the inverse block, recomputing it first when it is stale. A
  // singular map (|m0*m4 - m1*m3| < 1e-10, absolute) cannot be inverted:
  // the handle then applies the stale inverse block without notice; check
  // InverseValid() after the call when that matters.
  CTransform<CAffineImpl> Inverse();

  // Shifts the output: m2 += d.x, m5 += d.y. Flags the inverse stale.
  void Offset(CPointD const& d);
  // False when both rotation terms m1 and m3 are below 1e-10 in magnitude.
  bool HasRotation() const;
  // The world-file record of the direct block, the exact counterpart of
  // Define(tfw, absY): C = m0/2 + m2, F = m4/2 + m5 (|m4|/2 with absY).
  CTfwInfo TfwInfo(bool absY) const;
  // Composition: afterwards the direct map is p -> old(other(p)), `other`
  // applied first. Flags the inverse stale.
  CAffineParams& operator*=(CAffineParams const& other);

  // Whether the inverse block matches the direct one.
  bool InverseValid() const { return m_inverseValid; }

 protected:
  // Computes the inverse block from the direct one; false, flag and inverse
  // untouched, when |m0*m4 - m1*m3| < 1e-10 (or is a NaN).
  bool DefineInverse();
  // Writes entries 6 and 7 of `block` from its entries 0, 1, 3, 4.
  static void RecalcDistTrns(double* block);

  double m_direct[8];
  double m_inverse[8];
  bool m_inverseValid;
};

}  // namespace Math
