#include <math/fillpoly.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>

#include "core/tolerance.h"

namespace {

// Every writer stops at `bytes`: a span is already clamped to the line's
// width, so this only matters for a buffer shorter than the width needs.
void Span1(unsigned char* mask, std::size_t bytes, unsigned int x1, unsigned int x2) {
  std::size_t const first = x1 / 8;
  // A reversed pair with x2 == 0 lands on byte 0, as the signed (x2 - 1) / 8
  // of the integer formula would.
  std::size_t const last = x2 == 0 ? 0 : (x2 - 1) / 8;
  auto const firstMask = static_cast<unsigned char>(0xffu >> (x1 % 8));
  auto const lastMask = static_cast<unsigned char>(
      (x2 % 8 == 0 && x2 != 0) ? 0xffu : ~(0xffu >> (x2 % 8)));
  if (first == last) {
    if (first < bytes) mask[first] |= static_cast<unsigned char>(firstMask & lastMask);
    return;
  }
  if (first < bytes) mask[first] |= firstMask;
  if (first + 1 < last) std::memset(mask + first + 1, 0xff, std::min(last, bytes) - std::min(first + 1, bytes));
  if (last < bytes) mask[last] |= lastMask;
}

void Span4(unsigned char* mask, std::size_t bytes, unsigned int x1, unsigned int x2) {
  std::size_t const first = x1 / 2;
  std::size_t const last = x2 == 0 ? 0 : (x2 - 1) / 2;
  unsigned char const firstMask = (x1 & 1u) ? 0x0f : 0xff;
  unsigned char const lastMask = (x2 & 1u) ? 0xf0 : 0xff;
  if (first == last) {
    unsigned char const m = firstMask & (x2 == 0 ? 0xf0 : lastMask);
    if (first < bytes) mask[first] |= m;
    return;
  }
  if (first < bytes) mask[first] |= firstMask;
  if (first + 1 < last) std::memset(mask + first + 1, 0xff, std::min(last, bytes) - std::min(first + 1, bytes));
  if (last < bytes) mask[last] |= lastMask;
}

template <std::size_t K>
void SpanBytes(unsigned char* mask, std::size_t bytes, unsigned int x1, unsigned int x2) {
  std::size_t const lo = std::size_t{x1} * K;
  std::size_t const hi = std::min(std::size_t{x2} * K, bytes);
  if (lo < hi) std::memset(mask + lo, 0xff, hi - lo);
}

}  // namespace

CFillPoly::CFillPoly() : m_pfnSpan(&SpanBytes<1>) {}

CFillPoly::~CFillPoly() { delete[] m_pEdges; }

int CFillPoly::Init(tagPOINT const* pts, int n) {
  delete[] m_pEdges;
  m_pEdges = nullptr;
  m_pGET = m_pAET = nullptr;
  m_bFirstLine = 1;
  if (n <= 2 || pts == nullptr) return 0;
  // dx and dy of every edge, and the x reached while stepping, must stay
  // within int; the span between the extreme vertices bounds them all.
  long long xmin = pts[0].x, xmax = xmin, ymin = pts[0].y, ymax = ymin;
  for (int i = 1; i < n; ++i) {
    xmin = std::min<long long>(xmin, pts[i].x);
    xmax = std::max<long long>(xmax, pts[i].x);
    ymin = std::min<long long>(ymin, pts[i].y);
    ymax = std::max<long long>(ymax, pts[i].y);
  }
  if (xmax - xmin > INT_MAX || ymax - ymin > INT_MAX) return 0;
  m_pEdges = new (std::nothrow) CEdgeRec[static_cast<std::size_t>(n)];
  if (m_pEdges == nullptr) return 0;
  CreateGET(pts, n);
  return 1;
}

void CFillPoly::CreateGET(tagPOINT const* pts, int n) {
  int count = 0;
  for (int i = 0; i < n; ++i) {
    tagPOINT a = pts[i == 0 ? n - 1 : i - 1];
    tagPOINT b = pts[i];
    if (a.y == b.y) continue;
    if (b.y < a.y) std::swap(a, b);
    int const dx = b.x - a.x;
    int const dy = b.y - a.y;
    int const adx = std::abs(dx);
    bool const flat = dy < adx;
    CEdgeRec& e = m_pEdges[count++];
    e.x = a.x;
    e.ymin = a.y;
    e.sign = dx > 0 ? 1 : -1;
    e.xStep = flat ? (adx / dy) * e.sign : 0;
    e.lines = dy;
    e.err = dx < 0 ? 1 - dy : 0;
    e.errDec = dy;
    e.errInc = flat ? adx % dy : adx;
    e.dx = dx;
    e.next = nullptr;
  }
  // The table is ordered by ymin, then x, a new record going before older
  // ones with the same ymin and x. Inserting one by one into the list gives
  // that order in quadratic time; reversing the creation order and sorting
  // stably by (ymin, x) gives the same list in n log n.
  std::reverse(m_pEdges, m_pEdges + count);
  std::stable_sort(m_pEdges, m_pEdges + count, [](CEdgeRec const& l, CEdgeRec const& r) {
    return l.ymin != r.ymin ? l.ymin < r.ymin : l.x < r.x;
  });
  for (int i = 0; i + 1 < count; ++i) m_pEdges[i].next = &m_pEdges[i + 1];
  m_pGET = count > 0 ? &m_pEdges[0] : nullptr;
}

void CFillPoly::SetBitPixel(int bitsPerPixel) {
  switch (bitsPerPixel) {
    case 1: m_pfnSpan = &Span1; break;
    case 4: m_pfnSpan = &Span4; break;
    case 8: m_pfnSpan = &SpanBytes<1>; break;
    case 16: m_pfnSpan = &SpanBytes<2>; break;
    case 24: m_pfnSpan = &SpanBytes<3>; break;
    case 32: m_pfnSpan = &SpanBytes<4>; break;
    default: break;
  }
}

void CFillPoly::NextScanLine(int y) {
  NextLineAET();
  XSortAET();
  AddEdges(y);
  if (m_bFirstLine) {
    m_bFirstLine = 0;
    XSortAET();
  }
}

void CFillPoly::NextLineAET() {
  for (CEdgeRec** pp = &m_pAET; *pp != nullptr;) {
    CEdgeRec* const e = *pp;
    if (--e->lines == 0) {
      *pp = e->next;
      continue;
    }
    e->x += e->xStep;
    e->err += e->errInc;
    if (e->err > 0) {
      e->x += e->sign;
      e->err -= e->errDec;
    }
    pp = &e->next;
  }
}

void CFillPoly::XSortAET() {
  // A bubble sort: from one line to the next the edges cross rarely, so the
  // list is nearly sorted and one pass usually finds nothing to exchange.
  bool swapped = true;
  while (swapped) {
    swapped = false;
    for (CEdgeRec** pp = &m_pAET; *pp != nullptr && (*pp)->next != nullptr; pp = &(*pp)->next) {
      CEdgeRec* const a = *pp;
      CEdgeRec* const b = a->next;
      if (b->x < a->x) {
        a->next = b->next;
        b->next = a;
        *pp = b;
        swapped = true;
      }
    }
  }
}

void CFillPoly::AddEdges(int y) {
  // The search for each insertion point resumes where the previous record of
  // this call went in. Records that start on this very line arrive in x
  // order, so that is exact for them; records joining late (the first line
  // below the polygon's top) may land out of order, and the sort that
  // follows the first line, or the one before the next, mends it.
  CEdgeRec** pos = &m_pAET;
  while (m_pGET != nullptr && m_pGET->ymin <= y) {
    CEdgeRec* const e = m_pGET;
    m_pGET = e->next;
    long long const missed = static_cast<long long>(y) - e->ymin;
    long long const left = e->lines - missed;
    if (left <= 0) continue;
    // The error term is not carried along: a late edge takes the truncated
    // exact x and resumes stepping from its old error.
    e->x += static_cast<int>(static_cast<double>(missed) * e->dx / e->errDec);
    e->lines = static_cast<int>(left);
    while (*pos != nullptr && (*pos)->x < e->x) pos = &(*pos)->next;
    e->next = *pos;
    *pos = e;
  }
}

void CFillPoly::GetLineMask(unsigned char* mask, unsigned int bytes, unsigned int width) {
  if (mask == nullptr) return;
  if (bytes != 0) std::memset(mask, 0, bytes);
  auto const clamp = [width](int x) -> unsigned int {
    if (x < 0) return 0;
    return static_cast<unsigned int>(x) > width ? width : static_cast<unsigned int>(x);
  };
  for (CEdgeRec const* e = m_pAET; e != nullptr && e->next != nullptr; e = e->next->next) {
    unsigned int const x1 = clamp(e->x);
    unsigned int const x2 = clamp(e->next->x);
    if (x1 != x2) m_pfnSpan(mask, bytes, x1, x2);
  }
}

// ---------------------------------------------------------------------------

namespace {

// |b - a| without overflow, for the run limit of the segment generators.
long long Run(int a, int b) { return std::llabs(static_cast<long long>(b) - a); }

}  // namespace

void CSegmBuilder::Init(CPoint const& p1, CPoint const& p2) {
  *this = CSegmBuilder();
  m_x = p1.x;
  m_y = p1.y;
  long long const adx = Run(p1.x, p2.x), ady = Run(p1.y, p2.y);
  if (adx > Math::tol::kMaxSegmentRun || ady > Math::tol::kMaxSegmentRun) return;
  int const ax = static_cast<int>(adx), ay = static_cast<int>(ady);
  m_sx = p1.x < p2.x ? 1 : -1;
  m_sy = p1.y < p2.y ? 1 : -1;
  m_dx2 = 2 * ax;
  m_dy2 = 2 * ay;
  m_bXMajor = ay < ax ? 1 : 0;
  if (m_bXMajor) {
    m_err = 2 * ay - ax;
    m_diag = 2 * ay - 2 * ax;
    m_nLeft = ax;
  } else {
    m_err = 2 * ax - ay;
    m_diag = 2 * ax - 2 * ay;
    m_nLeft = ay;
  }
  m_nCount = m_nLeft + 1;
}

int CSegmBuilder::GetNext(CPoint& pt) {
  if (m_nLeft <= 0) return 0;
  if (m_bXMajor) {
    if (m_err < 0) {
      m_err += m_dy2;
    } else {
      m_y += m_sy;
      m_err += m_diag;
    }
    m_x += m_sx;
  } else {
    if (m_err < 0) {
      m_err += m_dx2;
    } else {
      m_x += m_sx;
      m_err += m_diag;
    }
    m_y += m_sy;
  }
  pt = CPoint(m_x, m_y);
  --m_nLeft;
  return 1;
}

void CSegmBuilder4::Init(CPoint const& p1, CPoint const& p2) {
  *this = CSegmBuilder4();
  m_x = p1.x;
  m_y = p1.y;
  long long const adx = Run(p1.x, p2.x), ady = Run(p1.y, p2.y);
  if (adx > Math::tol::kMaxSegmentRun || ady > Math::tol::kMaxSegmentRun) return;
  m_sx = p1.x < p2.x ? 1 : -1;
  m_sy = p1.y < p2.y ? 1 : -1;
  m_adx = static_cast<int>(adx);
  m_ady = static_cast<int>(ady);
  m_nLeft = m_adx + m_ady;
  m_nCount = m_nLeft + 1;
}

int CSegmBuilder4::GetNext(CPoint& pt) {
  if (m_nLeft <= 0) return 0;
  // The error is |dx| * (y steps) - |dy| * (x steps), the scaled offset from
  // the true segment; the move that leaves it smaller wins.
  int const a = std::abs(m_err + m_adx);
  int const b = std::abs(m_err - m_ady);
  if (a < b) {
    m_y += m_sy;
    m_err += m_adx;
  } else {
    m_x += m_sx;
    m_err -= m_ady;
  }
  pt = CPoint(m_x, m_y);
  --m_nLeft;
  return 1;
}

// ---------------------------------------------------------------------------

namespace {

int const kDu[8] = {1, 1, 0, -1, -1, -1, 0, 1};
int const kDv[8] = {0, 1, 1, 1, 0, -1, -1, -1};
int const kCost[8] = {1, 2, 1, 2, 1, 2, 1, 2};

}  // namespace

void CCircleBuilder2::Init(CPoint const& center, int radius) {
  *this = CCircleBuilder2();
  m_cx = center.x;
  m_cy = center.y;
  long long const r = radius;
  bool const fits = std::llabs(r) <= Math::tol::kMaxTraceRadius && center.x - std::llabs(r) >= INT_MIN &&
                    center.x + std::llabs(r) <= INT_MAX && center.y - std::llabs(r) >= INT_MIN &&
                    center.y + std::llabs(r) <= INT_MAX;
  int const rr = fits ? radius : 0;
  m_d = 2 * rr;
  m_dd = static_cast<int>(static_cast<double>(m_d) * static_cast<double>(m_d));
  m_budget = 16 * rr;
  m_u = m_d;
  m_v = 0;
  m_dir = 2;
  m_xLast = m_cx + rr;
  m_yLast = m_cy;
}

CPoint CCircleBuilder2::GetHead() {
  m_u = m_d;
  m_v = 0;
  m_dir = 2;
  m_budget = 8 * m_d;
  m_xLast = m_cx + m_d / 2;
  m_yLast = m_cy;
  return CPoint(m_xLast, m_yLast);
}

int CCircleBuilder2::GetNext(CPoint& pt) {
  auto const score = [this](int k) {
    long long const u = static_cast<long long>(m_u) + kDu[k];
    long long const v = static_cast<long long>(m_v) + kDv[k];
    return std::llabs(u * u + v * v - m_dd);
  };
  for (;;) {
    if (m_budget < 1) return 0;
    int const a = m_dir, b = (m_dir + 7) % 8, c = (m_dir + 1) % 8;
    long long const sa = score(a);
    // Only a strictly nearer turn replaces going straight on; the turn back
    // towards the previous heading is tried first.
    int k = a;
    if (score(b) < sa) {
      k = b;
    } else if (score(c) < sa) {
      k = c;
    }
    m_dir = k;
    m_budget -= kCost[k];
    m_u += kDu[k];
    m_v += kDv[k];
    // Halving toward zero folds three doubled-grid columns onto pixel 0, so
    // the walk repeats pixels there and elsewhere; only new pixels count.
    int const x = m_u / 2 + m_cx;
    int const y = m_v / 2 + m_cy;
    if (x != m_xLast || y != m_yLast) {
      m_xLast = x;
      m_yLast = y;
      pt = CPoint(x, y);
      return 1;
    }
  }
}

// ---------------------------------------------------------------------------

namespace Math {

CSegmPoints::CSegmPoints(CPoint const& p1, CPoint const& p2) {
  m_x = p1.x;
  m_y = p1.y;
  m_sx = p1.x < p2.x ? 1 : -1;
  m_sy = p1.y < p2.y ? 1 : -1;
  long long adx = Run(p1.x, p2.x), ady = Run(p1.y, p2.y);
  if (adx > tol::kMaxSegmentRun || ady > tol::kMaxSegmentRun) adx = ady = 0;
  int const ax = static_cast<int>(adx), ay = static_cast<int>(ady);
  m_dx2 = 2 * ax;
  m_dy2 = 2 * ay;
  m_bXMajor = ay < ax;
  m_err0 = m_bXMajor ? 2 * ay - ax : 2 * ax - ay;
  m_diag = m_bXMajor ? 2 * ay - 2 * ax : 2 * ax - 2 * ay;
  m_nCount = (m_bXMajor ? ax : ay) + 1;
}

void CSegmPoints::Advance(CPoint& pt, int& err) const {
  if (m_bXMajor) {
    if (err >= 0) {
      pt.y += m_sy;
      err += m_diag;
    } else {
      err += m_dy2;
    }
    pt.x += m_sx;
  } else {
    if (err >= 0) {
      pt.x += m_sx;
      err += m_diag;
    } else {
      err += m_dx2;
    }
    pt.y += m_sy;
  }
}

}  // namespace Math
