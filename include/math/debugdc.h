// Debug drawing: pictures of points, lines, polylines, polygons, circles,
// arcs, rectangles, pixels and labels, for looking at what the other families
// did. CDebugDC maps plane coordinates onto a device and keeps the current pen
// and brush; a CDebugDevice turns its few primitives into output. The one
// device here, CSvgDevice, writes a standalone SVG document: the only output
// the library produces, and only when a caller asks for it.
//
// Device coordinates are the picture's pixels, x to the right and y down.
// Nothing throws (unless the caller has enabled exceptions on the stream).
#pragma once

#include <math/circle.h>
#include <math/polygon.h>
#include <math/types.h>

#include <cstddef>
#include <fstream>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace Math {

// An opaque colour, 8 bits per channel.
struct CDebugColor {
  unsigned char r;
  unsigned char g;
  unsigned char b;
};

// How a pen's line is broken: solid, dashes, dots, dash-dot, or not drawn.
enum class EDebugDash { Solid, Dash, Dot, DashDot, None };

// Colour, width and dash of outlines. The width is in device pixels, so lines
// keep their thickness however far the picture zooms, unless bScaled: then it
// is in plane units and scales with the transform.
struct CDebugPen {
  CDebugColor color{0, 0, 0};
  double width = 1.0;
  EDebugDash dash = EDebugDash::Solid;
  bool bScaled = false;
};

// Fill of closed shapes: a colour and its opacity in [0, 1], or no fill.
struct CDebugBrush {
  CDebugColor color{255, 255, 255};
  double opacity = 1.0;
  bool bNone = true;

  static CDebugBrush Solid(CDebugColor c, double opacity = 1.0) { return {c, opacity, false}; }
  static CDebugBrush Hollow() { return {}; }
};

// What a backend draws, in device coordinates. CDebugDC calls these only with
// finite coordinates and at least the points a primitive needs.
class KMATH_API CDebugDevice {
 public:
  virtual ~CDebugDevice();

  // Groups what follows until the matching EndLayer under an identifier.
  virtual void BeginLayer(std::string const& id) = 0;
  virtual void EndLayer() = 0;
  virtual void Polyline(CPointD const* pts, std::size_t n, CDebugPen const& pen) = 0;
  // Closed rings filled together under the even-odd rule.
  virtual void Polygon(std::vector<std::vector<CPointD>> const& rings, CDebugPen const& pen,
                       CDebugBrush const& brush) = 0;
  virtual void Ellipse(CPointD const& center, double rx, double ry, CDebugPen const& pen,
                       CDebugBrush const& brush) = 0;
  // An axis-aligned box filled with the colour, no outline.
  virtual void Box(CPointD const& topLeft, double width, double height, CDebugColor color) = 0;
  // Text whose baseline starts at `at`, height `size` pixels.
  virtual void Text(CPointD const& at, std::string const& text, double size, CDebugColor color) = 0;
  // False once anything failed to reach the output.
  virtual bool Good() const = 0;
};

// Writes an SVG document of width x height pixels (viewBox 0 0 width height):
// the XML declaration, the <svg> element and a background rectangle at once,
// each primitive as it is drawn, and the closing tag on Close (or on
// destruction). Layers are <g id="..."> groups. Text and identifiers are
// escaped; a non-positive or non-finite size is taken as 1.
class KMATH_API CSvgDevice : public CDebugDevice {
 public:
  // Writes to a caller's stream, which must outlive the device.
  CSvgDevice(std::ostream& os, double width, double height, CDebugColor background = {255, 255, 255});
  // Writes to a file it opens (and truncates); Good() is false when it
  // cannot be opened, and nothing is written then.
  CSvgDevice(std::string const& path, double width, double height, CDebugColor background = {255, 255, 255});
  ~CSvgDevice() override;
  CSvgDevice(CSvgDevice const&) = delete;
  CSvgDevice& operator=(CSvgDevice const&) = delete;

  void BeginLayer(std::string const& id) override;
  void EndLayer() override;
  void Polyline(CPointD const* pts, std::size_t n, CDebugPen const& pen) override;
  void Polygon(std::vector<std::vector<CPointD>> const& rings, CDebugPen const& pen,
               CDebugBrush const& brush) override;
  void Ellipse(CPointD const& center, double rx, double ry, CDebugPen const& pen, CDebugBrush const& brush) override;
  void Box(CPointD const& topLeft, double width, double height, CDebugColor color) override;
  void Text(CPointD const& at, std::string const& text, double size, CDebugColor color) override;
  bool Good() const override;

  // Closes open layers and the document and flushes; later calls draw
  // nothing. True when the whole document reached the output.
  bool Close();

 private:
  void Begin(double width, double height, CDebugColor background);

  std::unique_ptr<std::ofstream> m_file;
  std::ostream* m_os;
  int m_nOpenLayers = 0;
  bool m_bClosed = false;
};

// Draws onto a device through the map device = (sx * x + ox, sy * y + oy):
// an axis-aligned scale and shift, so circles stay ellipses with axes along
// the device's. The current pen outlines everything, the current brush fills
// closed shapes, markers and pixels take the pen's colour. A primitive with a
// NaN or infinite coordinate or size is skipped whole; the document stays
// valid. The identity map, a black 1-pixel pen and no brush to begin with.
class KMATH_API CDebugDC {
 public:
  explicit CDebugDC(CDebugDevice& device) : m_device(device) {}

  // Sets the map; false, map unchanged, when a factor is zero or anything is
  // not finite.
  bool SetTransform(double sx, double sy, CPointD const& offset);
  // Maps `world` into a width x height canvas less `margin` pixels on each
  // side, keeping the aspect ratio and centring it; y up puts the world's
  // larger y at the top of the picture. A box of no width or no height takes
  // the scale of its other side, a single point scale 1 at the centre. False,
  // map unchanged, for a box with a non-finite side or left > right or
  // top > bottom, or a canvas with no room inside the margins.
  bool FitToBox(CRectD const& world, double width, double height, double margin, bool bYUp = true);
  CPointD ToDevice(CPointD const& p) const { return {m_sx * p.x + m_ox, m_sy * p.y + m_oy}; }
  double ScaleX() const { return m_sx; }
  double ScaleY() const { return m_sy; }

  // The SelectObject pattern: the new pen or brush becomes current and the
  // previous one is returned, to be selected back when done.
  CDebugPen SelectObject(CDebugPen const& pen);
  CDebugBrush SelectObject(CDebugBrush const& brush);
  CDebugPen const& Pen() const { return m_pen; }
  CDebugBrush const& Brush() const { return m_brush; }

  void BeginLayer(std::string const& id) { m_device.BeginLayer(id); }
  void EndLayer() { m_device.EndLayer(); }

  // A dot of `radius` device pixels in the pen's colour.
  void Point(CPointD const& p, double radius = 2.0);
  void Points(std::vector<CPointD> const& pts, double radius = 2.0);
  void Line(CPointD const& a, CPointD const& b);
  // Fewer than 2 points draw nothing.
  void Polyline(CPointD const* pts, std::size_t n);
  void Polyline(std::vector<CPointD> const& pts) { Polyline(pts.data(), pts.size()); }
  // Every polyline as a ring (closed whether or not it repeats its first
  // point), all filled together under the even-odd rule: holes stay empty.
  // Rings of fewer than 3 points are left out.
  void Polygon(std::vector<CPointD> const& ring);
  void Polygon(mpoly_base<CPointD> const& rings);
  void Polygon(CStdPlgn const& plgn) { Polygon(static_cast<mpoly_base<CPointD> const&>(plgn)); }
  // Radius as its absolute value.
  void Circle(CPointD const& center, double radius);
  void Circle(CCircle const& c) { Circle(c.ptCenter, c.dRadius); }
  // The arc as a polyline within a twentieth of a device pixel of the
  // circle; an invalid arc draws nothing.
  void Arc(CArc const& arc);
  void Rectangle(CRectD const& r);
  // An oriented rectangle (or any quadrilateral) from its corners in order.
  void Rectangle(CPointD const (&corners)[4]);
  // The plane's raster cell [x, x + 1] x [y, y + 1] filled with the pen's
  // colour: the pixel of a mask at that position.
  void Pixel(tagPOINT const& p);
  // A label in the pen's colour starting at p, `size` device pixels high.
  void Text(CPointD const& p, std::string const& text, double size = 12.0);

 private:
  double DeviceWidth() const;
  bool Map(CPointD const* pts, std::size_t n, std::vector<CPointD>& out) const;

  CDebugDevice& m_device;
  double m_sx = 1.0, m_sy = 1.0, m_ox = 0.0, m_oy = 0.0;
  CDebugPen m_pen;
  CDebugBrush m_brush;
};

}  // namespace Math
