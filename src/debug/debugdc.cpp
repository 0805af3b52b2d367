#include <math/debugdc.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>

#include "core/tolerance.h"

namespace Math {
namespace {

bool Finite(CPointD const& p) { return std::isfinite(p.x) && std::isfinite(p.y); }

// Coordinates to a thousandth of a pixel: finer than any renderer resolves,
// and short enough to keep big pictures small.
std::string Num(double v) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.3f", v);
  std::string s(buf);
  // Trailing zeros carry nothing; "-0" would be a valid but odd number.
  if (s.find('.') != std::string::npos) {
    while (s.back() == '0') s.pop_back();
    if (s.back() == '.') s.pop_back();
  }
  if (s == "-0") s = "0";
  return s;
}

std::string Hex(CDebugColor c) {
  char buf[8];
  std::snprintf(buf, sizeof buf, "#%02x%02x%02x", c.r, c.g, c.b);
  return buf;
}

// Escapes the five characters XML reserves, and drops control characters
// other than tab and newline, which no XML 1.0 document may contain.
std::string Escape(std::string const& s) {
  std::string out;
  out.reserve(s.size());
  for (char ch : s) {
    switch (ch) {
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '&': out += "&amp;"; break;
      case '"': out += "&quot;"; break;
      case '\'': out += "&apos;"; break;
      default:
        if (static_cast<unsigned char>(ch) >= 0x20 || ch == '\t' || ch == '\n') out += ch;
    }
  }
  return out;
}

// An id must be an XML name: letters, digits, '-', '_', '.', not starting
// with a digit, '-' or '.'. Anything else becomes '_'.
std::string IdName(std::string const& id) {
  std::string out;
  for (char ch : id) {
    bool const ok = std::isalnum(static_cast<unsigned char>(ch)) || ch == '-' || ch == '_' || ch == '.';
    out += ok ? ch : '_';
  }
  if (out.empty() || !std::isalpha(static_cast<unsigned char>(out[0]))) out.insert(out.begin(), '_');
  return out;
}

std::string Stroke(CDebugPen const& pen) {
  if (pen.dash == EDebugDash::None || !(pen.width > 0.0) || !std::isfinite(pen.width)) return " stroke=\"none\"";
  std::string s = " stroke=\"" + Hex(pen.color) + "\" stroke-width=\"" + Num(pen.width) +
                  "\" stroke-linejoin=\"round\" stroke-linecap=\"round\"";
  double const w = std::max(pen.width, 1.0);
  switch (pen.dash) {
    case EDebugDash::Dash: s += " stroke-dasharray=\"" + Num(4 * w) + " " + Num(3 * w) + "\""; break;
    case EDebugDash::Dot: s += " stroke-dasharray=\"" + Num(w) + " " + Num(2 * w) + "\""; break;
    case EDebugDash::DashDot:
      s += " stroke-dasharray=\"" + Num(4 * w) + " " + Num(2 * w) + " " + Num(w) + " " + Num(2 * w) + "\"";
      break;
    default: break;
  }
  return s;
}

std::string Fill(CDebugBrush const& brush) {
  if (brush.bNone) return " fill=\"none\"";
  double const a = std::isfinite(brush.opacity) ? std::clamp(brush.opacity, 0.0, 1.0) : 1.0;
  std::string s = " fill=\"" + Hex(brush.color) + "\"";
  if (a < 1.0) s += " fill-opacity=\"" + Num(a) + "\"";
  return s;
}

double Size(double v) { return std::isfinite(v) && v > 0.0 ? v : 1.0; }

}  // namespace

CDebugDevice::~CDebugDevice() = default;

// ---- SVG device -------------------------------------------------------------

CSvgDevice::CSvgDevice(std::ostream& os, double width, double height, CDebugColor background) : m_os(&os) {
  Begin(width, height, background);
}

CSvgDevice::CSvgDevice(std::string const& path, double width, double height, CDebugColor background)
    : m_file(std::make_unique<std::ofstream>(path, std::ios::binary | std::ios::trunc)), m_os(m_file.get()) {
  if (m_file->is_open()) Begin(width, height, background);
  else m_file->setstate(std::ios::failbit);
}

CSvgDevice::~CSvgDevice() { Close(); }

void CSvgDevice::Begin(double width, double height, CDebugColor background) {
  std::string const w = Num(Size(width)), h = Num(Size(height));
  *m_os << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << w << "\" height=\"" << h << "\" viewBox=\"0 0 "
        << w << " " << h << "\">\n"
        << "<rect x=\"0\" y=\"0\" width=\"" << w << "\" height=\"" << h << "\" fill=\"" << Hex(background)
        << "\"/>\n";
}

bool CSvgDevice::Good() const { return m_os->good(); }

void CSvgDevice::BeginLayer(std::string const& id) {
  if (m_bClosed) return;
  *m_os << "<g id=\"" << Escape(IdName(id)) << "\">\n";
  ++m_nOpenLayers;
}

void CSvgDevice::EndLayer() {
  // An unmatched EndLayer would close the <svg> element early.
  if (m_bClosed || m_nOpenLayers == 0) return;
  *m_os << "</g>\n";
  --m_nOpenLayers;
}

void CSvgDevice::Polyline(CPointD const* pts, std::size_t n, CDebugPen const& pen) {
  if (m_bClosed || n < 2) return;
  *m_os << "<polyline points=\"";
  for (std::size_t i = 0; i < n; ++i) *m_os << (i ? " " : "") << Num(pts[i].x) << "," << Num(pts[i].y);
  *m_os << "\" fill=\"none\"" << Stroke(pen) << "/>\n";
}

void CSvgDevice::Polygon(std::vector<std::vector<CPointD>> const& rings, CDebugPen const& pen,
                         CDebugBrush const& brush) {
  if (m_bClosed || rings.empty()) return;
  *m_os << "<path d=\"";
  bool first = true;
  for (auto const& r : rings) {
    if (r.empty()) continue;
    for (std::size_t i = 0; i < r.size(); ++i) {
      *m_os << (first ? "" : " ") << (i == 0 ? "M" : "L") << Num(r[i].x) << " " << Num(r[i].y);
      first = false;
    }
    *m_os << " Z";
  }
  *m_os << "\" fill-rule=\"evenodd\"" << Fill(brush) << Stroke(pen) << "/>\n";
}

void CSvgDevice::Ellipse(CPointD const& center, double rx, double ry, CDebugPen const& pen,
                         CDebugBrush const& brush) {
  if (m_bClosed) return;
  *m_os << "<ellipse cx=\"" << Num(center.x) << "\" cy=\"" << Num(center.y) << "\" rx=\"" << Num(rx) << "\" ry=\""
        << Num(ry) << "\"" << Fill(brush) << Stroke(pen) << "/>\n";
}

void CSvgDevice::Box(CPointD const& topLeft, double width, double height, CDebugColor color) {
  if (m_bClosed) return;
  *m_os << "<rect x=\"" << Num(topLeft.x) << "\" y=\"" << Num(topLeft.y) << "\" width=\"" << Num(width)
        << "\" height=\"" << Num(height) << "\" fill=\"" << Hex(color) << "\" stroke=\"none\"/>\n";
}

void CSvgDevice::Text(CPointD const& at, std::string const& text, double size, CDebugColor color) {
  if (m_bClosed) return;
  *m_os << "<text x=\"" << Num(at.x) << "\" y=\"" << Num(at.y) << "\" font-family=\"sans-serif\" font-size=\""
        << Num(Size(size)) << "\" fill=\"" << Hex(color) << "\" xml:space=\"preserve\">" << Escape(text)
        << "</text>\n";
}

bool CSvgDevice::Close() {
  if (m_bClosed) return Good();
  m_bClosed = true;
  if (m_file && !m_file->is_open()) return false;
  while (m_nOpenLayers > 0) {
    *m_os << "</g>\n";
    --m_nOpenLayers;
  }
  *m_os << "</svg>\n";
  m_os->flush();
  return Good();
}

// ---- drawing context --------------------------------------------------------

bool CDebugDC::SetTransform(double sx, double sy, CPointD const& offset) {
  if (!std::isfinite(sx) || !std::isfinite(sy) || sx == 0.0 || sy == 0.0 || !Finite(offset)) return false;
  m_sx = sx;
  m_sy = sy;
  m_ox = offset.x;
  m_oy = offset.y;
  return true;
}

bool CDebugDC::FitToBox(CRectD const& world, double width, double height, double margin, bool bYUp) {
  if (!Finite({world.left, world.top}) || !Finite({world.right, world.bottom})) return false;
  if (world.left > world.right || world.top > world.bottom) return false;
  if (!std::isfinite(width) || !std::isfinite(height) || !std::isfinite(margin) || margin < 0.0) return false;
  double const w = width - 2.0 * margin, h = height - 2.0 * margin;
  if (!(w > 0.0) || !(h > 0.0)) return false;
  double const ww = world.right - world.left, wh = world.bottom - world.top;
  // A flat box has no scale of its own along the flat side: the other side
  // decides, and a single point is drawn at its own size.
  double s = 1.0;
  if (ww > 0.0 && wh > 0.0) s = std::min(w / ww, h / wh);
  else if (ww > 0.0) s = w / ww;
  else if (wh > 0.0) s = h / wh;
  if (!std::isfinite(s) || s == 0.0) return false;
  CPointD const c{0.5 * (world.left + world.right), 0.5 * (world.top + world.bottom)};
  double const sy = bYUp ? -s : s;
  return SetTransform(s, sy, {0.5 * width - s * c.x, 0.5 * height - sy * c.y});
}

CDebugPen CDebugDC::SelectObject(CDebugPen const& pen) {
  CDebugPen const old = m_pen;
  m_pen = pen;
  return old;
}

CDebugBrush CDebugDC::SelectObject(CDebugBrush const& brush) {
  CDebugBrush const old = m_brush;
  m_brush = brush;
  return old;
}

double CDebugDC::DeviceWidth() const {
  return m_pen.bScaled ? m_pen.width * std::sqrt(std::abs(m_sx * m_sy)) : m_pen.width;
}

bool CDebugDC::Map(CPointD const* pts, std::size_t n, std::vector<CPointD>& out) const {
  out.clear();
  out.reserve(n);
  for (std::size_t i = 0; i < n; ++i) {
    CPointD const q = ToDevice(pts[i]);
    if (!Finite(pts[i]) || !Finite(q)) return false;
    out.push_back(q);
  }
  return true;
}

void CDebugDC::Point(CPointD const& p, double radius) {
  CPointD const q = ToDevice(p);
  if (!Finite(p) || !Finite(q) || !std::isfinite(radius)) return;
  double const r = std::abs(radius);
  m_device.Ellipse(q, r, r, CDebugPen{m_pen.color, 0.0, EDebugDash::None, false}, CDebugBrush::Solid(m_pen.color));
}

void CDebugDC::Points(std::vector<CPointD> const& pts, double radius) {
  for (CPointD const& p : pts) Point(p, radius);
}

void CDebugDC::Line(CPointD const& a, CPointD const& b) {
  CPointD const ab[2] = {a, b};
  Polyline(ab, 2);
}

void CDebugDC::Polyline(CPointD const* pts, std::size_t n) {
  std::vector<CPointD> q;
  if (pts == nullptr || n < 2 || !Map(pts, n, q)) return;
  CDebugPen pen = m_pen;
  pen.width = DeviceWidth();
  m_device.Polyline(q.data(), q.size(), pen);
}

void CDebugDC::Polygon(std::vector<CPointD> const& ring) {
  mpoly_base<CPointD> rings;
  rings.push_back(poly_base<CPointD>(ring));
  Polygon(rings);
}

void CDebugDC::Polygon(mpoly_base<CPointD> const& rings) {
  std::vector<std::vector<CPointD>> q;
  std::vector<CPointD> r;
  for (auto const& ring : rings) {
    if (ring.size() < 3) continue;
    if (!Map(ring.data(), ring.size(), r)) return;
    // The path closes each ring itself; a repeated closing point would only
    // add a zero-length side.
    if (r.size() > 3 && r.front().x == r.back().x && r.front().y == r.back().y) r.pop_back();
    q.push_back(r);
  }
  if (q.empty()) return;
  CDebugPen pen = m_pen;
  pen.width = DeviceWidth();
  m_device.Polygon(q, pen, m_brush);
}

void CDebugDC::Circle(CPointD const& center, double radius) {
  CPointD const q = ToDevice(center);
  double const rx = std::abs(radius * m_sx), ry = std::abs(radius * m_sy);
  if (!Finite(center) || !Finite(q) || !std::isfinite(rx) || !std::isfinite(ry)) return;
  CDebugPen pen = m_pen;
  pen.width = DeviceWidth();
  m_device.Ellipse(q, rx, ry, pen, m_brush);
}

void CDebugDC::Arc(CArc const& arc) {
  double const scale = std::max(std::abs(m_sx), std::abs(m_sy));
  // A twentieth of a device pixel, in plane units.
  double const tolerance = 0.05 / scale;
  poly_base<CPointD> pts;
  if (!arc.MakePoly(pts, tolerance, tol::kDebugArcMaxPoints)) return;
  Polyline(pts.data(), pts.size());
}

void CDebugDC::Rectangle(CRectD const& r) {
  CPointD const corners[4] = {{r.left, r.top}, {r.right, r.top}, {r.right, r.bottom}, {r.left, r.bottom}};
  Rectangle(corners);
}

void CDebugDC::Rectangle(CPointD const (&corners)[4]) {
  Polygon(std::vector<CPointD>(corners, corners + 4));
}

void CDebugDC::Pixel(tagPOINT const& p) {
  CPointD const a = ToDevice({static_cast<double>(p.x), static_cast<double>(p.y)});
  CPointD const b = ToDevice({p.x + 1.0, p.y + 1.0});
  if (!Finite(a) || !Finite(b)) return;
  m_device.Box({std::min(a.x, b.x), std::min(a.y, b.y)}, std::abs(b.x - a.x), std::abs(b.y - a.y), m_pen.color);
}

void CDebugDC::Text(CPointD const& p, std::string const& text, double size) {
  CPointD const q = ToDevice(p);
  if (!Finite(p) || !Finite(q) || !std::isfinite(size)) return;
  m_device.Text(q, text, size, m_pen.color);
}

}  // namespace Math
