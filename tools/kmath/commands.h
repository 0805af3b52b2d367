// The subcommands, grouped by what they work on. Each Add* function adds its
// subcommands to the app; the one the user picks stores its work in `run`,
// which main calls after parsing.
#pragma once

#include <functional>

namespace CLI {
class App;
}

namespace kmath_tool {

using Runner = std::function<int()>;

// simplify, smooth, densify, hull, circle, measure, square, minrect, rect
void AddShapeCommands(CLI::App& app, Runner& run);
// clip, split
void AddPolygonCommands(CLI::App& app, Runner& run);
// georef
void AddGeorefCommands(CLI::App& app, Runner& run);
// trace, rasterize
void AddRasterCommands(CLI::App& app, Runner& run);
// render
void AddRenderCommands(CLI::App& app, Runner& run);
// match
void AddMatchCommands(CLI::App& app, Runner& run);
// overlay, dissolve
void AddOverlayCommands(CLI::App& app, Runner& run);
// triangulate, voronoi, centerlines
void AddGraphCommands(CLI::App& app, Runner& run);

}  // namespace kmath_tool
