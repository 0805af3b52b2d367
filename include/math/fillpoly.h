// Integer rasterisation: a scan-line polygon fill that writes one row of a
// pixel mask at a time, and generators that hand out the pixels of digital
// segments and circles one by one.
//
// Coordinates are 32-bit signed pixel indices, x to the right, y downwards
// (scan lines in increasing y). Nothing throws; exhaustion and rejected
// input are reported by a 0 result.
#pragma once

#include <math/export.h>
#include <math/types.h>

#include <cstddef>
#include <iterator>

// Fills a polygon (even-odd rule, integer vertices) into a pixel mask one
// scan line at a time:
//
//   CFillPoly fill;
//   if (fill.Init(pts, n)) {
//     fill.SetBitPixel(8);
//     for (int y = 0; y < height; ++y) {
//       fill.NextScanLine(y);
//       fill.GetLineMask(row(y), bytesPerRow, width);
//     }
//   }
//
// Pixel (x, y) is set when the point (x, y) lies inside the polygon or on a
// left or top edge: an edge covers the lines from its upper end to the line
// before its lower end, and a span runs from the first x at or right of its
// left edge up to, not including, the first x at or right of its right edge.
// Horizontal edges contribute nothing.
//
// The lines must be visited in increasing order, one by one (the edges step
// incrementally); the first line may lie anywhere, edges that started above
// it join with their x advanced by the lines they missed. Skipping lines
// leaves the edges where the last visited line put them.
//
// Not copyable: the object owns its edge records.
class KMATH_API CFillPoly {
 public:
  CFillPoly();
  ~CFillPoly();
  CFillPoly(CFillPoly const&) = delete;
  CFillPoly& operator=(CFillPoly const&) = delete;

  // Builds the edge tables of the closed polygon pts[0..n-1] (the last
  // vertex joins the first; do not repeat it). Returns 1, or 0 when n < 3,
  // pts is null, the edge records cannot be allocated, or two vertices lie
  // 2^31 or more apart along an axis (the integer stepping would overflow).
  // The previous polygon is dropped first, so a failed Init leaves an empty
  // fill (every mask cleared, nothing set).
  int Init(tagPOINT const* pts, int n);

  // Chooses the span writer for 1, 4, 8, 16, 24 or 32 bits per pixel; any
  // other value keeps the current one. A new object writes 8 bits per pixel.
  // 1 bit: most significant bit first; 4 bits: high nibble first; set pixels
  // are all ones.
  void SetBitPixel(int bitsPerPixel);

  // Moves to scan line y: steps the active edges down one line, drops those
  // that ended, activates those that start at or above y.
  void NextScanLine(int y);

  // Clears `bytes` bytes of `mask`, then sets the pixels of the current line
  // between pairs of active edges, x clamped to [0, width]. The buffer must
  // hold `width` pixels at the chosen depth; that is the caller's promise,
  // but no byte at or past `bytes` is ever written.
  void GetLineMask(unsigned char* mask, unsigned int bytes, unsigned int width);

  // Span writer: sets pixels [x1, x2) (0 <= x1, x2 <= width) of a line
  // buffer of `bytes` bytes.
  using SpanWriter = void (*)(unsigned char* mask, std::size_t bytes, unsigned int x1, unsigned int x2);

 private:
  struct CEdgeRec {
    int x;          // x at the current scan line
    int ymin;       // first scan line of the edge
    int xStep;      // whole pixels of x per line
    int lines;      // scan lines left
    int sign;       // +1 when dx > 0, else -1
    int err;        // error term
    int errDec;     // dy
    int errInc;     // |dx| mod dy, or |dx| for steep edges
    int dx;         // signed x run from the upper end to the lower
    CEdgeRec* next;
  };

  void CreateGET(tagPOINT const* pts, int n);
  void AddEdges(int y);
  void NextLineAET();
  void XSortAET();

  int m_bFirstLine = 1;
  CEdgeRec* m_pEdges = nullptr;
  CEdgeRec* m_pGET = nullptr;
  CEdgeRec* m_pAET = nullptr;
  SpanWriter m_pfnSpan;
};

// The 8-connected digital segment between two points (Bresenham): one pixel
// per step along the major axis, the minor coordinate stepping when the
// error term is not negative, so the pixels stay within half a pixel of the
// true segment along the minor axis. Equal |dx| and |dy| is y-major (a pure
// diagonal). Segments longer than 2^30 - 1 along an axis are not traced:
// they give the first point alone.
class KMATH_API CSegmBuilder {
 public:
  CSegmBuilder() = default;
  void Init(CPoint const& p1, CPoint const& p2);
  // The next pixel after p1 (p1 itself is never produced); 0 when the
  // segment is done, at p2.
  int GetNext(CPoint& pt);
  // Pixels of the whole segment, p1 and p2 included.
  int GetCount() const { return m_nCount; }

 private:
  int m_nCount = 1;
  int m_sx = 1;
  int m_sy = 1;
  int m_err = 0;
  int m_dx2 = 0;
  int m_dy2 = 0;
  int m_diag = 0;
  int m_x = 0;
  int m_y = 0;
  int m_nLeft = 0;
  int m_bXMajor = 0;
};

// The 4-connected digital segment between two points: every step moves
// along one axis, choosing the one that keeps the pixel nearer the true
// segment (|error| smaller); a tie steps x. Every pixel touches the true
// segment within half a pixel in each axis. Spans longer than 2^30 - 1 give
// the first point alone.
class KMATH_API CSegmBuilder4 {
 public:
  CSegmBuilder4() = default;
  void Init(CPoint const& p1, CPoint const& p2);
  // The next pixel after p1; 0 when the segment is done, at p2.
  int GetNext(CPoint& pt);
  // |dx| + |dy| + 1 pixels, p1 and p2 included.
  int GetCount() const { return m_nCount; }

 private:
  int m_nCount = 1;
  int m_sx = 1;
  int m_sy = 1;
  int m_adx = 0;
  int m_ady = 0;
  int m_err = 0;
  int m_x = 0;
  int m_y = 0;
  int m_nLeft = 0;
};

// An 8-connected digital circle traced on a doubled grid: the walk follows
// the circle of diameter 2r through points of half-pixel spacing, from the
// rightmost point heading towards +y, preferring at each step the turn (or
// the straight move) whose squared distance from the centre is nearest
// (2r)^2; its pixel is the point halved toward zero. The walk has a budget
// of 16r (an axis step costs 1, a diagonal 2), one lap. Repeated pixels in
// a row are skipped. Radius 0 or negative, a radius above 23170 (the doubled
// radius squared must fit in 32 bits) or a circle reaching past the int range
// produces nothing after the head.
class KMATH_API CCircleBuilder2 {
 public:
  CCircleBuilder2() = default;
  void Init(CPoint const& center, int radius);
  // Restarts the walk and returns its first pixel, (cx + r, cy); the centre
  // for a radius rejected as out of range.
  CPoint GetHead();
  // The next pixel different from the previous one; 0 when the lap's
  // budget is spent.
  int GetNext(CPoint& pt);

 private:
  int m_xLast = 0;
  int m_yLast = 0;
  int m_cx = 0;
  int m_cy = 0;
  int m_u = 0;
  int m_v = 0;
  int m_d = 0;
  int m_dd = 0;
  int m_dir = 2;
  int m_budget = 0;
};

namespace Math {

// The 8-connected segment of CSegmBuilder as an immutable range: the running
// point and error live in the iterator, so one CSegmPoints can be walked by
// several loops at once.
//
//   for (CPoint p : Math::CSegmPoints(a, b)) ...   // a first, b last
class KMATH_API CSegmPoints {
 public:
  CSegmPoints(CPoint const& p1, CPoint const& p2);

  class const_iterator {
   public:
    using iterator_category = std::input_iterator_tag;
    using value_type = CPoint;
    using difference_type = std::ptrdiff_t;
    using pointer = CPoint const*;
    using reference = CPoint const&;

    const_iterator() = default;
    reference operator*() const { return m_pt; }
    pointer operator->() const { return &m_pt; }
    const_iterator& operator++() {
      if (++m_index < m_owner->m_nCount) m_owner->Advance(m_pt, m_err);
      return *this;
    }
    const_iterator operator++(int) {
      const_iterator old = *this;
      ++*this;
      return old;
    }
    friend bool operator==(const_iterator const& a, const_iterator const& b) { return a.m_index == b.m_index; }
    friend bool operator!=(const_iterator const& a, const_iterator const& b) { return a.m_index != b.m_index; }

   private:
    friend class CSegmPoints;
    const_iterator(CSegmPoints const* owner, int index)
        : m_owner(owner), m_pt(owner->m_x, owner->m_y), m_err(owner->m_err0), m_index(index) {}
    CSegmPoints const* m_owner = nullptr;
    CPoint m_pt;
    int m_err = 0;
    int m_index = 0;
  };

  const_iterator begin() const { return const_iterator(this, 0); }
  const_iterator end() const { return const_iterator(this, m_nCount); }
  // Pixels of the segment, both ends included.
  int size() const { return m_nCount; }

 private:
  // One step from pt with error term err, both the caller's.
  void Advance(CPoint& pt, int& err) const;

  int m_x;
  int m_y;
  int m_sx;
  int m_sy;
  int m_dx2;
  int m_dy2;
  int m_nCount;
  int m_diag;
  bool m_bXMajor;
  int m_err0;
};

}  // namespace Math
