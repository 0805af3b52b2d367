#include <math/debugdc.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include <unistd.h>

#ifdef KMATH_TEST_HAVE_PNG
#include <png.h>
#endif

namespace {

using Math::CDebugBrush;
using Math::CDebugColor;
using Math::CDebugDC;
using Math::CDebugPen;
using Math::CSvgDevice;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kPi = 3.14159265358979323846;
constexpr CDebugColor kRed{255, 0, 0}, kGreen{0, 160, 0}, kBlue{0, 0, 255}, kBlack{0, 0, 0}, kOrange{255, 140, 0};

std::filesystem::path TempDir() {
  return std::filesystem::temp_directory_path() / ("kmath_debugdc_" + std::to_string(::getpid()));
}

// The scratch folder goes when the test program ends.
struct TempCleanup {
  ~TempCleanup() {
    std::error_code ec;
    std::filesystem::remove_all(TempDir(), ec);
  }
} const g_cleanup;

std::filesystem::path TempPath(std::string const& name) {
  std::filesystem::create_directories(TempDir());
  return TempDir() / name;
}

bool HaveTool(char const* tool) {
  return std::system((std::string("command -v ") + tool + " >/dev/null 2>&1").c_str()) == 0;
}

// xmllint's verdict on a document; the caller skips when xmllint is absent.
bool WellFormed(std::string const& svg, std::string const& name) {
  auto const path = TempPath(name + ".svg");
  std::ofstream(path) << svg;
  return std::system(("xmllint --noout '" + path.string() + "' 2>/dev/null").c_str()) == 0;
}

std::string Count(std::string const& s, std::string const& what) {
  std::size_t n = 0;
  for (std::size_t at = s.find(what); at != std::string::npos; at = s.find(what, at + 1)) ++n;
  return std::to_string(n);
}

// The scene of the pixel checks: the world square [0, 100]^2 on a 200 x 200
// canvas, y up, so world (x, y) lands on pixel (2x, 200 - 2y).
std::string Scene() {
  std::ostringstream os;
  {
    CSvgDevice svg(os, 200, 200);
    CDebugDC dc(svg);
    EXPECT_TRUE(dc.FitToBox({0, 0, 100, 100}, 200, 200, 0));
    dc.BeginLayer("fills");
    dc.SelectObject(CDebugBrush::Solid(kRed));
    dc.SelectObject(CDebugPen{kRed, 1.0});
    dc.Rectangle(CRectD{20, 20, 40, 40});
    dc.SelectObject(CDebugBrush::Solid(kBlue));
    dc.SelectObject(CDebugPen{kBlue, 1.0});
    dc.Circle({70, 30}, 10);
    // A square with a square hole: the hole stays background.
    CStdPlgn holed;
    holed.push_back({{50, 50}, {90, 50}, {90, 90}, {50, 90}, {50, 50}});
    holed.push_back({{60, 60}, {80, 60}, {80, 80}, {60, 80}, {60, 60}});
    dc.SelectObject(CDebugBrush::Solid(kGreen));
    dc.SelectObject(CDebugPen{kGreen, 1.0});
    dc.Polygon(holed);
    // An oriented rectangle: a diamond round (20, 75).
    CPointD const diamond[4] = {{20, 65}, {30, 75}, {20, 85}, {10, 75}};
    dc.SelectObject(CDebugBrush::Solid(kOrange));
    dc.SelectObject(CDebugPen{kOrange, 1.0});
    dc.Rectangle(diamond);
    dc.EndLayer();
    dc.BeginLayer("strokes");
    dc.SelectObject(CDebugBrush::Hollow());
    dc.SelectObject(CDebugPen{kBlack, 4.0});
    dc.Line({0, 10}, {100, 10});
    dc.SelectObject(CDebugPen{kBlue, 3.0});
    dc.Arc(Math::CArc({30, 55}, 10, 0.0, 0.5 * kPi));
    dc.SelectObject(CDebugPen{kBlack, 1.0});
    dc.Pixel(tagPOINT{5, 95});
    dc.Text({2, 2}, "a < b & \"c\" 'd'");
    dc.EndLayer();
    EXPECT_TRUE(svg.Close());
  }
  return os.str();
}

TEST(DebugDC, WritesWellFormedSvgWithLayersAndEscapedText) {
  std::string const svg = Scene();
  EXPECT_NE(svg.find("viewBox=\"0 0 200 200\""), std::string::npos);
  EXPECT_NE(svg.find("<g id=\"fills\">"), std::string::npos);
  EXPECT_NE(svg.find("<g id=\"strokes\">"), std::string::npos);
  EXPECT_NE(svg.find("a &lt; b &amp; &quot;c&quot; &apos;d&apos;"), std::string::npos);
  EXPECT_NE(svg.find("fill-rule=\"evenodd\""), std::string::npos);
  EXPECT_EQ(Count(svg, "<g "), Count(svg, "</g>"));
  if (!HaveTool("xmllint")) GTEST_SKIP() << "xmllint not installed";
  EXPECT_TRUE(WellFormed(svg, "scene"));
}

#ifdef KMATH_TEST_HAVE_PNG
struct Image {
  unsigned width = 0, height = 0;
  std::vector<unsigned char> rgb;
  CDebugColor At(int x, int y) const {
    std::size_t const i = 3 * (static_cast<std::size_t>(y) * width + static_cast<std::size_t>(x));
    return {rgb[i], rgb[i + 1], rgb[i + 2]};
  }
};

bool ReadPng(std::string const& path, Image& img) {
  png_image pi{};
  pi.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_file(&pi, path.c_str())) return false;
  pi.format = PNG_FORMAT_RGB;
  img.width = pi.width;
  img.height = pi.height;
  img.rgb.resize(PNG_IMAGE_SIZE(pi));
  bool const ok = png_image_finish_read(&pi, nullptr, img.rgb.data(), 0, nullptr) != 0;
  png_image_free(&pi);
  return ok;
}

bool Near(CDebugColor a, CDebugColor b) {
  return std::abs(a.r - b.r) <= 8 && std::abs(a.g - b.g) <= 8 && std::abs(a.b - b.b) <= 8;
}

std::string Str(CDebugColor c) {
  return "(" + std::to_string(c.r) + "," + std::to_string(c.g) + "," + std::to_string(c.b) + ")";
}

TEST(DebugDC, RendersShapesWhereTheTransformPutsThem) {
  if (!HaveTool("rsvg-convert")) GTEST_SKIP() << "rsvg-convert not installed";
  auto const svg = TempPath("render.svg"), png = TempPath("render.png");
  std::ofstream(svg) << Scene();
  ASSERT_EQ(std::system(("rsvg-convert -o '" + png.string() + "' '" + svg.string() + "'").c_str()), 0);
  Image img;
  ASSERT_TRUE(ReadPng(png.string(), img));
  ASSERT_EQ(img.width, 200u);
  ASSERT_EQ(img.height, 200u);
  CDebugColor const white{255, 255, 255};
  struct Probe { char const* name; double wx, wy; CDebugColor want; };
  Probe const probes[] = {
      {"square's centre", 30, 30, kRed},
      {"just outside the square", 43, 30, white},
      {"circle's centre", 70, 30, kBlue},
      {"inside the circle near its rim", 78, 30, kBlue},
      {"outside the circle past its rim", 82, 30, white},
      {"ring of the holed square", 55, 55, kGreen},
      {"hole of the holed square", 70, 70, white},
      {"diamond's centre", 20, 75, kOrange},
      {"outside the diamond's corner", 28, 83, white},
      {"on the thick line", 50, 10, kBlack},
      {"beside the thick line", 50, 13, white},
      {"on the arc at 45 degrees", 30 + 10 * std::cos(kPi / 4), 55 + 10 * std::sin(kPi / 4), kBlue},
      {"inside the arc", 30, 55, white},
      {"the pixel", 5.5, 95.5, kBlack},
      {"next to the pixel", 7.5, 95.5, white},
  };
  for (Probe const& p : probes) {
    SCOPED_TRACE(p.name);
    int const x = static_cast<int>(2 * p.wx), y = static_cast<int>(200 - 2 * p.wy);
    EXPECT_TRUE(Near(img.At(x, y), p.want)) << Str(img.At(x, y)) << " at " << x << "," << y;
  }
}
#endif

TEST(DebugDC, FitToBoxMapsTheBoxOntoTheCanvas) {
  std::ostringstream os;
  CSvgDevice svg(os, 100, 50);
  CDebugDC dc(svg);
  // A 40 x 10 box in a 100 x 50 canvas with 10 px margins: width decides.
  ASSERT_TRUE(dc.FitToBox({0, 0, 40, 10}, 100, 50, 10, true));
  EXPECT_DOUBLE_EQ(dc.ScaleX(), 2.0);
  EXPECT_DOUBLE_EQ(dc.ScaleY(), -2.0);
  CPointD const tl = dc.ToDevice({0, 10}), br = dc.ToDevice({40, 0});
  EXPECT_DOUBLE_EQ(tl.x, 10.0);
  EXPECT_DOUBLE_EQ(tl.y, 15.0);
  EXPECT_DOUBLE_EQ(br.x, 90.0);
  EXPECT_DOUBLE_EQ(br.y, 35.0);
  ASSERT_TRUE(dc.FitToBox({0, 0, 40, 10}, 100, 50, 10, false));
  EXPECT_DOUBLE_EQ(dc.ToDevice({0, 0}).y, 15.0);

  struct Bad { char const* name; CRectD box; double w, h, margin; };
  Bad const bad[] = {
      {"NaN side", {0, 0, kNaN, 1}, 100, 100, 0},
      {"left beyond right", {5, 0, 1, 1}, 100, 100, 0},
      {"no room inside the margins", {0, 0, 1, 1}, 100, 100, 50},
      {"negative margin", {0, 0, 1, 1}, 100, 100, -1},
  };
  for (Bad const& b : bad) {
    SCOPED_TRACE(b.name);
    EXPECT_FALSE(dc.FitToBox(b.box, b.w, b.h, b.margin));
    EXPECT_DOUBLE_EQ(dc.ScaleX(), 2.0);
  }
  // Flat boxes: the other side's scale; a single point at scale 1, centred.
  ASSERT_TRUE(dc.FitToBox({0, 5, 40, 5}, 100, 50, 10));
  EXPECT_DOUBLE_EQ(dc.ScaleX(), 2.0);
  EXPECT_DOUBLE_EQ(dc.ToDevice({20, 5}).y, 25.0);
  ASSERT_TRUE(dc.FitToBox({7, 3, 7, 3}, 100, 50, 10));
  EXPECT_DOUBLE_EQ(dc.ScaleX(), 1.0);
  EXPECT_DOUBLE_EQ(dc.ToDevice({7, 3}).x, 50.0);
  EXPECT_DOUBLE_EQ(dc.ToDevice({7, 3}).y, 25.0);
  EXPECT_FALSE(dc.SetTransform(0.0, 1.0, {0, 0}));
  EXPECT_FALSE(dc.SetTransform(1.0, kNaN, {0, 0}));
}

TEST(DebugDC, PenAndBrushFollowTheSelectObjectPattern) {
  std::ostringstream os;
  CSvgDevice svg(os, 100, 100);
  CDebugDC dc(svg);
  CDebugPen const old = dc.SelectObject(CDebugPen{kRed, 2.0, Math::EDebugDash::Dash});
  EXPECT_EQ(old.width, 1.0);
  EXPECT_EQ(dc.SelectObject(old).color.r, 255);
  EXPECT_EQ(dc.Pen().color.r, 0);
  CDebugBrush const hollow = dc.SelectObject(CDebugBrush::Solid(kGreen, 0.5));
  EXPECT_TRUE(hollow.bNone);
  EXPECT_FALSE(dc.Brush().bNone);

  // Widths stay in device pixels under a 10x zoom unless the pen asks to
  // scale with the picture.
  ASSERT_TRUE(dc.SetTransform(10.0, 10.0, {0, 0}));
  dc.SelectObject(CDebugPen{kBlack, 2.0});
  dc.Line({0, 0}, {1, 1});
  dc.SelectObject(CDebugPen{kBlack, 0.5, Math::EDebugDash::Dot, true});
  dc.Line({0, 0}, {1, 1});
  svg.Close();
  std::string const s = os.str();
  EXPECT_NE(s.find("stroke-width=\"2\""), std::string::npos);
  EXPECT_NE(s.find("stroke-width=\"5\" "), std::string::npos);
  EXPECT_NE(s.find("stroke-dasharray"), std::string::npos);
}

TEST(DebugDC, BadInputKeepsTheDocumentValid) {
  std::ostringstream os;
  {
    CSvgDevice svg(os, 100, 100);
    CDebugDC dc(svg);
    dc.BeginLayer("1 bad <id> & \"more\"");
    std::vector<CPointD> const withNaN = {{0, 0}, {kNaN, 1}, {2, 2}};
    dc.Polyline(withNaN);
    dc.Polyline(std::vector<CPointD>{});
    dc.Polyline(std::vector<CPointD>{{1, 1}});
    dc.Polyline(nullptr, 5);
    dc.Polygon(withNaN);
    dc.Circle({kNaN, 0}, 3);
    dc.Circle({0, 0}, kNaN);
    dc.Point({0, kNaN});
    dc.Text({kNaN, 0}, "x");
    dc.Arc(Math::CArc({0, 0}, 0.0, 0.0, 0.0));
    dc.EndLayer();
    dc.EndLayer();  // unmatched: ignored
    dc.BeginLayer("left open");
    // Closed by the destructor together with the open layer.
  }
  std::string const s = os.str();
  for (char const* tag : {"<polyline", "<path", "<ellipse", "<text"}) EXPECT_EQ(s.find(tag), std::string::npos) << tag;
  EXPECT_EQ(Count(s, "<g "), "2");
  EXPECT_EQ(Count(s, "</g>"), "2");
  EXPECT_NE(s.find("</svg>"), std::string::npos);
  if (HaveTool("xmllint")) {
    EXPECT_TRUE(WellFormed(s, "bad_input"));
  }
}

TEST(DebugDC, AFailingStreamIsReportedNotThrown) {
  std::ofstream broken;  // never opened: every write fails
  CSvgDevice svg(broken, 10, 10);
  CDebugDC dc(svg);
  dc.Line({0, 0}, {1, 1});
  EXPECT_FALSE(svg.Good());
  EXPECT_FALSE(svg.Close());

  CSvgDevice file((TempPath("no_such_dir") / "x" / "y.svg").string(), 10, 10);
  EXPECT_FALSE(file.Good());
  EXPECT_FALSE(file.Close());

  auto const path = TempPath("ok.svg");
  {
    CSvgDevice good(path.string(), 10, 10);
    CDebugDC d2(good);
    d2.Circle({5, 5}, 2);
    EXPECT_TRUE(good.Close());
  }
  std::ifstream in(path);
  std::string const text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  EXPECT_NE(text.find("<ellipse"), std::string::npos);
  EXPECT_NE(text.find("</svg>"), std::string::npos);
}

}  // namespace
