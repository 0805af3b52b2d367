// Per-feature clean-up and measurement of lines and polygons.
#include <math/kmath.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

#include "commands.h"
#include "pipeline.h"
#include "plgn_convert.h"

namespace kmath_tool {

namespace {

// Applies `ringOp` to every ring or line of g. Polygon rings that fall
// below four points (a closed triangle) are dropped; a polygon whose outer
// ring is dropped loses the whole part.
template <class RingOp>
Geometry EachRing(Geometry const& g, RingOp ringOp) {
  Geometry out;
  out.kind = g.kind;
  for (auto const& part : g.parts) {
    std::vector<Ring> rings;
    for (std::size_t r = 0; r < part.size(); ++r) {
      Ring ring = part[r];
      ringOp(ring, g.kind == GeomKind::Polygon);
      bool const tooSmall = g.kind == GeomKind::Polygon ? ring.size() < 4 : ring.size() < 2;
      if (tooSmall && g.kind != GeomKind::Point) {
        if (r == 0) break;
        continue;
      }
      rings.push_back(std::move(ring));
    }
    if (!rings.empty()) out.parts.push_back(std::move(rings));
  }
  return out;
}

std::vector<FieldSpec> VertexFields() {
  return {{"kmath_vertices_in", OFTInteger64}, {"kmath_vertices_out", OFTInteger64}};
}

FeatureResult WithCounts(Geometry const& in, Geometry out) {
  long long const nIn = static_cast<long long>(in.VertexCount());
  long long const nOut = static_cast<long long>(out.VertexCount());
  return FeatureResult::One(std::move(out), {nIn, nOut});
}

double Length(Ring const& r) {
  double len = 0;
  for (std::size_t i = 1; i < r.size(); ++i) len += std::hypot(r[i].x - r[i - 1].x, r[i].y - r[i - 1].y);
  return len;
}

std::vector<CPointD> AllPoints(Geometry const& g) {
  std::vector<CPointD> pts;
  for (auto const& part : g.parts)
    for (auto const& ring : part) pts.insert(pts.end(), ring.begin(), ring.end());
  return pts;
}

void AddSimplify(CLI::App& app, Runner& run) {
  struct Opts {
    CommonOptions common;
    double tolerance = 1.0;
    double maxChord = std::numeric_limits<double>::max();
  };
  auto o = std::make_shared<Opts>();
  CLI::App* cmd = app.add_subcommand("simplify", "Reduce lines and polygon rings to their characteristic points");
  cmd->footer("Example: kmath simplify traced.gpkg simple.gpkg --tolerance 1.5 --max-chord 50");
  AddCommonOptions(*cmd, o->common);
  cmd->add_option("-t,--tolerance", o->tolerance, "Largest distance of a dropped vertex from its chord (map units)")
      ->check(Positive());
  cmd->add_option("--max-chord", o->maxChord, "Longest chord allowed (map units)")->check(Positive());
  cmd->callback([o, &run] {
    run = [o] {
      CommandShape shape{"simplify", wkbUnknown, VertexFields()};
      return RunPerFeature(o->common, shape, [o](Geometry const& g) {
        return WithCounts(g, EachRing(g, [&](Ring& r, bool) { Math::PolyApprox(r, o->tolerance, o->maxChord); }));
      });
    };
  });
}

void AddSmooth(CLI::App& app, Runner& run) {
  struct Opts {
    CommonOptions common;
    std::string method = "bezier";
    int iterations = 1;
    double tolerance = 1.0, cornerAngle = 50.0, chordTol = 0.1, sigma = 2.0, step = 0.5;
  };
  auto o = std::make_shared<Opts>();
  CLI::App* cmd = app.add_subcommand("smooth", "Smooth lines and polygon rings");
  cmd->footer(
      "Example: kmath smooth traced.gpkg smooth.gpkg --method bezier --tolerance 1 --corner-angle 50\n"
      "bezier: cubic pieces within --tolerance of every vertex, turns sharper than --corner-angle kept as\n"
      "corners, flattened within --chord-tol; corners: Gaussian smoothing (--sigma) that keeps corners, ends\n"
      "and a ring's area; spline: the natural cubic spline through the vertices sampled every --step;\n"
      "gauss: --iterations passes of three-point (1/4, 1/2, 1/4) smoothing.");
  AddCommonOptions(*cmd, o->common);
  cmd->add_option("--method", o->method, "bezier, corners, spline or gauss")
      ->check(CLI::IsMember({"bezier", "corners", "spline", "gauss"}));
  cmd->add_option("-t,--tolerance", o->tolerance, "bezier: largest distance from the input vertices")->check(Positive());
  cmd->add_option("--corner-angle", o->cornerAngle, "bezier, corners: turns sharper than this (degrees) stay corners")
      ->check(CLI::Range(0.001, 180.0));
  cmd->add_option("--chord-tol", o->chordTol, "bezier: flattening tolerance")->check(Positive());
  cmd->add_option("--sigma", o->sigma, "corners: deviation of the Gaussian along the line")->check(Positive());
  cmd->add_option("--step", o->step, "spline: spacing of the samples")->check(Positive());
  cmd->add_option("-n,--iterations", o->iterations, "gauss: passes")->check(CLI::Range(1, 1000));
  cmd->callback([o, &run] {
    run = [o] {
      CommandShape shape{"smooth", wkbUnknown, VertexFields()};
      double const corner = o->cornerAngle * 3.14159265358979323846 / 180.0;
      return RunPerFeature(o->common, shape, [o, corner](Geometry const& g) {
        return WithCounts(g, EachRing(g, [&](Ring& r, bool) {
                            if (o->method == "bezier")
                              Math::BezierSmoothing(r, o->tolerance, corner, o->chordTol);
                            else if (o->method == "corners")
                              Math::PolySmoothing(r, o->sigma, corner);
                            else if (o->method == "spline")
                              Math::SplineSmoothing(r, o->step);
                            else
                              for (int i = 0; i < o->iterations; ++i) Math::GaussSmoothing(r);
                          }));
      });
    };
  });
}

void AddOffset(CLI::App& app, Runner& run) {
  struct Opts {
    CommonOptions common;
    double distance = 0, miterLimit = 4.0, chordTol = 0.01;
    std::string join = "round", cap = "round";
    bool outline = false;
  };
  auto o = std::make_shared<Opts>();
  CLI::App* cmd = app.add_subcommand("offset", "Parallel offset of lines and polygons (a buffer with --outline)");
  cmd->footer(
      "Examples: kmath offset roads.gpkg kerbs.gpkg --distance 3.5 --join miter\n"
      "          kmath offset roads.gpkg corridors.gpkg --distance 10 --outline --cap flat\n"
      "          kmath offset parcels.gpkg setback.gpkg --distance -2\n"
      "Lines: positive is left of the direction of travel. Polygons: positive grows, negative shrinks\n"
      "(a polygon shrunk away is dropped; a narrow neck splits it).");
  AddCommonOptions(*cmd, o->common);
  cmd->add_option("-d,--distance", o->distance, "Signed offset distance (map units)")->required();
  cmd->add_option("--join", o->join, "round, miter or bevel")->check(CLI::IsMember({"round", "miter", "bevel"}));
  cmd->add_option("--miter-limit", o->miterLimit, "Miter points further than this many distances are bevelled")
      ->check(Positive());
  cmd->add_option("--chord-tol", o->chordTol, "Largest distance of round joins' chords from the arc")->check(Positive());
  cmd->add_flag("--outline", o->outline, "Lines: the closed outline at |distance| around them");
  cmd->add_option("--cap", o->cap, "With --outline: round, flat or square ends")
      ->check(CLI::IsMember({"round", "flat", "square"}));
  cmd->callback([o, &run] {
    if (!(o->distance != 0) || !std::isfinite(o->distance))
      throw CLI::ValidationError("--distance", "must be a non-zero number");
    run = [o] {
      Math::COffsetParams params;
      params.eJoin = o->join == "miter" ? Math::JoinMiter : o->join == "bevel" ? Math::JoinBevel : Math::JoinRound;
      params.dMiterLimit = o->miterLimit;
      params.dChordTol = o->chordTol;
      params.bOutline = o->outline;
      params.eCap = o->cap == "flat" ? Math::CapFlat : o->cap == "square" ? Math::CapSquare : Math::CapRound;
      bool const toPolygons = o->outline;
      CommandShape shape{"offset", toPolygons ? wkbMultiPolygon : wkbUnknown, {}};
      return RunPerFeature(o->common, shape, [o, params, toPolygons](Geometry const& g) {
        Geometry out;
        if (g.kind == GeomKind::Polygon) {
          // Each part grown or shrunk as a whole: its outer ring and holes
          // together (a counter-clockwise outer ring grows outward under a
          // negative left offset, so the sign is turned for it).
          out.kind = GeomKind::Polygon;
          for (auto const& part : g.parts) {
            Math::CMultiPlgnUnion u(true);
            for (std::size_t r = 0; r < part.size(); ++r) {
              Ring ring = part[r];
              if (!IsClosed(ring)) ring.push_back(ring.front());
              // Orient outer rings counter-clockwise and holes clockwise so
              // that "left" is the inside of the area for every ring.
              bool const ccw = SignedArea(ring) > 0;
              if (ccw != (r == 0)) std::reverse(ring.begin(), ring.end());
              std::vector<std::vector<CPointD>> pieces;
              if (!Math::PolyOffset(ring, -o->distance, params, pieces))
                return FeatureResult::Error("the offset is not defined for this ring");
              for (auto const& p : pieces) u.AddContour(p.data(), static_cast<unsigned>(p.size()), false, true);
            }
            Geometry const grown = FromPlgn(u());
            for (auto const& gp : grown.parts) out.parts.push_back(gp);
          }
        } else if (g.kind == GeomKind::Line) {
          out.kind = toPolygons ? GeomKind::Polygon : GeomKind::Line;
          for (auto const& part : g.parts) {
            std::vector<std::vector<CPointD>> pieces;
            if (!Math::PolyOffset(part[0], o->distance, params, pieces))
              return FeatureResult::Error("the offset is not defined for this line");
            if (toPolygons) {
              CStdPlgn rings;
              for (auto& p : pieces) rings.emplace_back(std::move(p));
              Geometry const poly = FromPlgn(rings);
              for (auto const& gp : poly.parts) out.parts.push_back(gp);
            } else {
              for (auto& p : pieces) out.parts.push_back({std::move(p)});
            }
          }
        } else {
          return FeatureResult::Error("offset takes lines and polygons");
        }
        FeatureResult r;
        if (!out.parts.empty()) r.outputs.push_back(FeatureOutput{std::move(out), {}});
        return r;
      });
    };
  });
}

void AddDensify(CLI::App& app, Runner& run) {
  struct Opts {
    CommonOptions common;
    double step = 1.0;
  };
  auto o = std::make_shared<Opts>();
  CLI::App* cmd = app.add_subcommand("densify", "Resample lines and rings at an even spacing");
  cmd->footer("Example: kmath densify roads.gpkg dense.gpkg --step 2");
  AddCommonOptions(*cmd, o->common);
  cmd->add_option("-s,--step", o->step, "Spacing of the new vertices (map units)")
      ->required()
      ->check(Positive());
  cmd->callback([o, &run] {
    run = [o] {
      CommandShape shape{"densify", wkbUnknown, VertexFields()};
      return RunPerFeature(o->common, shape, [o](Geometry const& g) {
        std::size_t const estimate = static_cast<std::size_t>(1 + [&] {
          double len = 0;
          for (auto const& part : g.parts)
            for (auto const& ring : part) len += Length(ring);
          return len / o->step;
        }());
        if (estimate > 100000000)
          return FeatureResult::Error("the step would make " + std::to_string(estimate) + " vertices");
        return WithCounts(g, EachRing(g, [&](Ring& r, bool) { Math::PolyResample(r, o->step); }));
      });
    };
  });
}

void AddHull(CLI::App& app, Runner& run) {
  auto o = std::make_shared<CommonOptions>();
  CLI::App* cmd = app.add_subcommand("hull", "Convex hull of each feature, as a polygon");
  cmd->footer("Example: kmath hull parcels.gpkg hulls.gpkg");
  AddCommonOptions(*cmd, *o);
  cmd->callback([o, &run] {
    run = [o] {
      CommandShape shape{"hull", wkbPolygon, {}};
      return RunPerFeature(*o, shape, [](Geometry const& g) {
        std::vector<CPointD> pts = AllPoints(g);
        Math::ConvexHull(pts);
        Geometry out;
        out.kind = GeomKind::Polygon;
        if (pts.size() >= 4) out.parts.push_back({std::move(pts)});
        return FeatureResult::One(std::move(out));
      });
    };
  });
}

void AddCircle(CLI::App& app, Runner& run) {
  struct Opts {
    CommonOptions common;
    double tolerance = 0.1;
  };
  auto o = std::make_shared<Opts>();
  CLI::App* cmd = app.add_subcommand("circle", "Fit a circle to each polygon's outer ring (or closed line)");
  cmd->footer("Example: kmath circle coins.gpkg circles.gpkg --tolerance 0.05");
  AddCommonOptions(*cmd, o->common);
  cmd->add_option("-t,--tolerance", o->tolerance, "Largest distance of the output polygon from the circle")
      ->check(Positive());
  cmd->callback([o, &run] {
    run = [o] {
      CommandShape shape{"circle",
                         wkbPolygon,
                         {{"kmath_cx", OFTReal}, {"kmath_cy", OFTReal}, {"kmath_radius", OFTReal}, {"kmath_rms", OFTReal}}};
      return RunPerFeature(o->common, shape, [o](Geometry const& g) {
        if (g.parts.empty()) return FeatureResult::Error("empty geometry");
        Ring ring = g.parts[0][0];
        if (g.kind == GeomKind::Polygon && !ring.empty() && !IsClosed(ring)) ring.push_back(ring.front());
        Math::CCircleReduce::CResult const c = Math::CCircleReduce(Math::poly_base<CPointD>(ring));
        if (!c.bValid) return FeatureResult::Error("no circle fits (needs a closed ring of three or more points)");
        CPointD const centre = c.ptCenter;
        double const radius = c.dRadius, rms = c.dDeviation;
        std::vector<CPointD> poly;
        if (!Math::CircleToPoly(poly, centre, radius, o->tolerance, 100000))
          return FeatureResult::Error("the fitted circle cannot be drawn");
        Geometry out;
        out.kind = GeomKind::Polygon;
        out.parts.push_back({std::move(poly)});
        return FeatureResult::One(std::move(out), {centre.x, centre.y, radius, rms});
      });
    };
  });
}

void AddMeasure(CLI::App& app, Runner& run) {
  auto o = std::make_shared<CommonOptions>();
  CLI::App* cmd = app.add_subcommand(
      "measure", "Shape measures as attributes: area, length, centroid, orientation, eccentricity, Hu invariants");
  cmd->footer("Example: kmath measure buildings.gpkg measured.gpkg");
  AddCommonOptions(*cmd, *o);
  cmd->callback([o, &run] {
    run = [o] {
      std::vector<FieldSpec> fields{{"kmath_area", OFTReal},        {"kmath_length", OFTReal},
                                    {"kmath_cx", OFTReal},          {"kmath_cy", OFTReal},
                                    {"kmath_orientation", OFTReal}, {"kmath_eccentricity", OFTReal}};
      for (int i = 1; i <= 7; ++i) fields.push_back({"kmath_hu" + std::to_string(i), OFTReal});
      CommandShape shape{"measure", wkbUnknown, fields};
      return RunPerFeature(*o, shape, [](Geometry const& g) {
        double length = 0;
        for (auto const& part : g.parts)
          for (auto const& ring : part) length += Length(ring);
        std::vector<AttrValue> attrs;
        attrs.emplace_back(PolygonArea(g));
        attrs.emplace_back(length);
        // Moments of the whole area: outer rings add, holes subtract, so sum
        // the raw moments of every ring with the sign of its role.
        Math::CRawMoments sum(static_cast<unsigned char>(3));
        bool any = false;
        if (g.kind == GeomKind::Polygon) {
          for (auto const& part : g.parts)
            for (std::size_t r = 0; r < part.size(); ++r) {
              Ring ring = part[r];
              if (!IsClosed(ring) && !ring.empty()) ring.push_back(ring.front());
              Math::CRawMoments const m(ring.data(), static_cast<unsigned>(ring.size()));
              if (!m.IsValid()) continue;
              double const s = r == 0 ? 1.0 : -1.0;
              sum.m00 += s * m.m00, sum.m10 += s * m.m10, sum.m01 += s * m.m01;
              sum.m20 += s * m.m20, sum.m11 += s * m.m11, sum.m02 += s * m.m02;
              sum.m30 += s * m.m30, sum.m21 += s * m.m21, sum.m12 += s * m.m12, sum.m03 += s * m.m03;
              any = true;
            }
        }
        if (any && sum.IsValid()) {
          Math::CRCMoments const rc(sum);
          CPointD const c = rc.Centroid();
          for (double v : {c.x, c.y, rc.Orientation(), rc.Eccentricity()}) attrs.emplace_back(v);
          Math::CHuMoments const hu(rc);
          for (double h : hu.h) attrs.push_back(h);
        } else {
          // Lines and points: the centroid of the vertices, no area measures.
          std::vector<CPointD> const pts = AllPoints(g);
          double cx = 0, cy = 0;
          for (CPointD const& p : pts) cx += p.x, cy += p.y;
          double const n = pts.empty() ? std::numeric_limits<double>::quiet_NaN() : static_cast<double>(pts.size());
          for (double v : {cx / n, cy / n}) attrs.emplace_back(v);
          attrs.resize(attrs.size() + 2 + 7);  // no orientation, eccentricity or Hu invariants
        }
        return FeatureResult::One(g, std::move(attrs));
      });
    };
  });
}

Geometry RectanglePolygon(Math::CRectangle const& r) {
  Geometry out;
  out.kind = GeomKind::Polygon;
  if (!r.IsValid()) return out;
  CPointD const c = r.Center();
  double const a = r.Angle();
  CPointD const u{std::cos(a) * r.Width() / 2, std::sin(a) * r.Width() / 2};
  CPointD const v{-std::sin(a) * r.Height() / 2, std::cos(a) * r.Height() / 2};
  out.parts.push_back({Ring{c - u - v, c + u - v, c + u + v, c - u + v, c - u - v}});
  return out;
}

std::vector<FieldSpec> RectangleFields() {
  return {{"kmath_width", OFTReal}, {"kmath_height", OFTReal}, {"kmath_angle", OFTReal}};
}

FeatureResult RectangleResult(Math::CRectangle const& r) {
  Geometry g = RectanglePolygon(r);
  if (g.parts.empty()) return FeatureResult::Error("no rectangle (fewer than two distinct points)");
  double const a = r.Angle() * 180.0 / 3.14159265358979323846;
  return FeatureResult::One(std::move(g), {r.Width(), r.Height(), a});
}

void AddSquare(CLI::App& app, Runner& run) {
  struct Opts {
    CommonOptions common;
    double tolerance = 0, minSide = 1.5, ratio = 0.3;
    bool once = false;
  };
  auto o = std::make_shared<Opts>();
  CLI::App* cmd = app.add_subcommand("square", "Square right-angled polygons (building footprints, parcels)");
  cmd->footer(
      "Example: kmath square buildings.gpkg squared.gpkg --min-side 0.5 --tolerance 0.3\n"
      "A ring is replaced only when its squared outline stays within the deviation bound\n"
      "min-side * ratio / (1 - ratio) (RMS, map units); kmath_squared says which rings were.");
  AddCommonOptions(*cmd, o->common);
  cmd->add_option("-t,--tolerance", o->tolerance, "Reduce first with this tolerance (0: no reduction)")->check(NonNegative());
  cmd->add_option("--min-side", o->minSide, "Shortest wall kept (map units)")->check(Positive());
  cmd->add_option("--ratio", o->ratio, "Deviation ratio, below 1")->check(CLI::Range(0.0, 0.99));
  cmd->add_flag("--once", o->once, "One pass that never refuses (every ring is squared)");
  cmd->callback([o, &run] {
    run = [o] {
      CommandShape shape{"square", wkbUnknown, {{"kmath_squared", OFTInteger}, {"kmath_rings", OFTInteger}}};
      return RunPerFeature(o->common, shape, [o](Geometry const& g) {
        if (g.kind != GeomKind::Polygon) return FeatureResult::Error("square takes polygons");
        long long squared = 0, rings = 0;
        Geometry out = EachRing(g, [&](Ring& r, bool) {
          if (!IsClosed(r)) r.push_back(r.front());
          if (o->tolerance > 0) Math::PolyApprox(r, o->tolerance, std::numeric_limits<double>::max());
          ++rings;
          bool ok;
          if (o->once) {
            ok = Math::PolyOrtho(r, o->minSide, o->minSide / 4, true, true, nullptr);
          } else {
            Math::CPolyOrtho::CParams params(o->ratio, o->minSide);
            params.nCorners = 1000;
            ok = Math::CPolyOrtho(params)(r);
          }
          squared += ok;
        });
        return FeatureResult::One(std::move(out), {squared, rings});
      });
    };
  });
}

void AddMinRect(CLI::App& app, Runner& run) {
  auto o = std::make_shared<CommonOptions>();
  CLI::App* cmd = app.add_subcommand("minrect", "Minimum-area oriented rectangle around each feature");
  cmd->footer("Example: kmath minrect buildings.gpkg boxes.gpkg");
  AddCommonOptions(*cmd, *o);
  cmd->callback([o, &run] {
    run = [o] {
      CommandShape shape{"minrect", wkbPolygon, RectangleFields()};
      return RunPerFeature(*o, shape, [](Geometry const& g) {
        std::vector<CPointD> const pts = AllPoints(g);
        return RectangleResult(Math::MinAreaRectangle(pts.data(), static_cast<unsigned>(pts.size()), false));
      });
    };
  });
}

void AddRect(CLI::App& app, Runner& run) {
  struct Opts {
    CommonOptions common;
    std::string method = "moments";
    double angle = 0;
  };
  auto o = std::make_shared<Opts>();
  CLI::App* cmd = app.add_subcommand("rect", "Oriented rectangle of each feature: from its moments, or its extent");
  cmd->footer(
      "Example: kmath rect symbols.gpkg rects.gpkg --method moments\n"
      "moments: the rectangle with the shape's area, centroid and axes; extent: the box along --angle (degrees).");
  AddCommonOptions(*cmd, o->common);
  cmd->add_option("--method", o->method, "moments or extent")->check(CLI::IsMember({"moments", "extent"}));
  cmd->add_option("--angle", o->angle, "Direction of the extent box, degrees counter-clockwise");
  cmd->callback([o, &run] {
    run = [o] {
      CommandShape shape{"rect", wkbPolygon, RectangleFields()};
      return RunPerFeature(o->common, shape, [o](Geometry const& g) {
        std::vector<CPointD> pts = AllPoints(g);
        if (o->method == "extent")
          return RectangleResult(Math::ExtentRectangle(pts.data(), static_cast<unsigned>(pts.size()),
                                                       o->angle * 3.14159265358979323846 / 180.0));
        if (g.kind != GeomKind::Polygon) return FeatureResult::Error("the moments rectangle needs a polygon");
        Ring ring = g.parts[0][0];
        if (!IsClosed(ring)) ring.push_back(ring.front());
        return RectangleResult(Math::MakeRectangle(ring.data(), static_cast<unsigned>(ring.size()), false));
      });
    };
  });
}

}  // namespace

void AddShapeCommands(CLI::App& app, Runner& run) {
  AddSquare(app, run);
  AddMinRect(app, run);
  AddRect(app, run);
  AddSimplify(app, run);
  AddSmooth(app, run);
  AddOffset(app, run);
  AddDensify(app, run);
  AddHull(app, run);
  AddCircle(app, run);
  AddMeasure(app, run);
}

}  // namespace kmath_tool
