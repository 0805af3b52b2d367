#include "test_picture.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <filesystem>

namespace kmath_test {

Picture::Picture(std::string name) {
  char const* dir = std::getenv("KMATH_TEST_PICTURES");
  if (dir == nullptr || *dir == '\0') return;
  for (char& c : name)
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '-' && c != '_') c = '_';
  std::error_code ec;
  std::filesystem::create_directories(dir, ec);
  m_path = (std::filesystem::path(dir) / (name + ".svg")).string();
}

void Picture::Polyline(std::string const& layer, std::vector<CPointD> const& pts, Math::CDebugColor color) {
  if (Enabled()) m_items.push_back({Item::kLine, layer, {Math::poly_base<CPointD>(pts)}, color});
}

void Picture::Points(std::string const& layer, std::vector<CPointD> const& pts, Math::CDebugColor color) {
  if (Enabled()) m_items.push_back({Item::kDots, layer, {Math::poly_base<CPointD>(pts)}, color});
}

void Picture::Polygon(std::string const& layer, Math::mpoly_base<CPointD> const& rings, Math::CDebugColor color) {
  if (Enabled()) m_items.push_back({Item::kFill, layer, rings, color});
}

Picture::~Picture() {
  if (!Enabled() || m_items.empty()) return;
  CRectD box{HUGE_VAL, HUGE_VAL, -HUGE_VAL, -HUGE_VAL};
  for (Item const& it : m_items)
    for (auto const& poly : it.geometry)
      for (CPointD const& p : poly) {
        if (!std::isfinite(p.x) || !std::isfinite(p.y)) continue;
        box = {std::min(box.left, p.x), std::min(box.top, p.y), std::max(box.right, p.x), std::max(box.bottom, p.y)};
      }
  if (box.left > box.right) box = {0, 0, 1, 1};
  Math::CSvgDevice svg(m_path, 800, 800);
  Math::CDebugDC dc(svg);
  dc.FitToBox(box, 800, 800, 20);
  for (Item const& it : m_items) {
    dc.BeginLayer(it.layer);
    dc.SelectObject(Math::CDebugPen{it.color, 1.5});
    switch (it.kind) {
      case Item::kLine:
        for (auto const& poly : it.geometry) dc.Polyline(poly);
        break;
      case Item::kDots:
        for (auto const& poly : it.geometry) dc.Points(poly, 3.0);
        break;
      case Item::kFill: {
        Math::CDebugBrush const old = dc.SelectObject(Math::CDebugBrush::Solid(it.color, 0.3));
        dc.Polygon(it.geometry);
        dc.SelectObject(old);
        break;
      }
    }
    dc.EndLayer();
  }
  // A legend in device pixels: one line per item, in its colour.
  dc.SetTransform(1.0, 1.0, {0.0, 0.0});
  dc.BeginLayer("legend");
  double y = 16.0;
  for (Item const& it : m_items) {
    dc.SelectObject(Math::CDebugPen{it.color, 1.0});
    dc.Text({6.0, y}, it.layer, 13.0);
    y += 16.0;
  }
  dc.EndLayer();
}

}  // namespace kmath_test
