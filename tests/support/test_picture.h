// Pictures of failing checks. When the environment variable
// KMATH_TEST_PICTURES names a folder, a Picture collects the inputs and
// results a test hands it and, on destruction, writes <folder>/<name>.svg
// with one layer per item, fitted to their common extent (y up). Without the
// variable it keeps nothing, so tests may build one only when a check fails.
#pragma once

#include <math/debugdc.h>
#include <math/polygon.h>

#include <string>
#include <vector>

namespace kmath_test {

inline constexpr Math::CDebugColor kBlack{0, 0, 0};
inline constexpr Math::CDebugColor kRed{220, 30, 30};
inline constexpr Math::CDebugColor kGreen{20, 150, 40};
inline constexpr Math::CDebugColor kBlue{30, 80, 220};
inline constexpr Math::CDebugColor kGrey{140, 140, 140};

class Picture {
 public:
  // `name` becomes the file name, with anything but letters, digits, '-'
  // and '_' replaced.
  explicit Picture(std::string name);
  ~Picture();
  Picture(Picture const&) = delete;
  Picture& operator=(Picture const&) = delete;

  // Whether the folder is set (and so whether anything will be written).
  bool Enabled() const { return !m_path.empty(); }
  // The file the picture goes to, empty when disabled.
  std::string const& Path() const { return m_path; }

  void Polyline(std::string const& layer, std::vector<CPointD> const& pts, Math::CDebugColor color);
  void Points(std::string const& layer, std::vector<CPointD> const& pts, Math::CDebugColor color);
  // Rings filled under the even-odd rule, translucent so overlaps show.
  void Polygon(std::string const& layer, Math::mpoly_base<CPointD> const& rings, Math::CDebugColor color);

 private:
  struct Item {
    enum Kind { kLine, kDots, kFill } kind;
    std::string layer;
    Math::mpoly_base<CPointD> geometry;
    Math::CDebugColor color;
  };
  std::string m_path;
  std::vector<Item> m_items;
};

}  // namespace kmath_test
