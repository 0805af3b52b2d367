// kmath: the library's clean-up of traced and mapped geometry, on files.
#include <CLI/CLI.hpp>
#include <cpl_error.h>
#include <gdal_priv.h>

#include <cstdio>

#include "commands.h"
#include "vector_io.h"

#ifndef KMATH_VERSION
#define KMATH_VERSION "unknown"
#endif

int main(int argc, char** argv) {
  CLI::App app{"kmath: simplify, smooth, square, measure, clip, georeference and trace vector data and rasters"};
  app.set_version_flag("--version", std::string("kmath ") + KMATH_VERSION);
  app.require_subcommand(1);
  app.footer("Run 'kmath SUBCOMMAND --help' for the options and an example of each.");

  kmath_tool::Runner run;
  kmath_tool::AddShapeCommands(app, run);
  kmath_tool::AddPolygonCommands(app, run);
  kmath_tool::AddGeorefCommands(app, run);
  kmath_tool::AddRasterCommands(app, run);
  kmath_tool::AddRenderCommands(app, run);
  kmath_tool::AddMatchCommands(app, run);
  kmath_tool::AddOverlayCommands(app, run);
  kmath_tool::AddGraphCommands(app, run);

  // A first argument that is neither an option nor a subcommand would only
  // get CLI11's "A subcommand is required"; name it instead.
  if (argc > 1 && argv[1][0] != '-') {
    bool known = false;
    for (CLI::App const* sub : app.get_subcommands({})) known = known || sub->check_name(argv[1]);
    if (!known) {
      std::fprintf(stderr, "kmath: unknown subcommand '%s' (kmath --help lists them)\n", argv[1]);
      return 2;
    }
  }

  GDALAllRegister();
  // Coordinates written as text (CSV's WKT) keep every bit of the double.
  CPLSetConfigOption("OGR_WKT_PRECISION", "17");
  // GDAL's own messages would repeat ours; the last one is folded into the
  // error kmath prints.
  CPLPushErrorHandler(CPLQuietErrorHandler);

  try {
    app.parse(argc, argv);
  } catch (CLI::ParseError const& e) {
    return app.exit(e);
  } catch (kmath_tool::ToolError const& e) {
    std::fprintf(stderr, "kmath: %s\n", e.what());
    return 1;
  }
  try {
    return run ? run() : 0;
  } catch (kmath_tool::ToolError const& e) {
    std::fprintf(stderr, "kmath: %s\n", e.what());
    return 1;
  } catch (std::exception const& e) {
    std::fprintf(stderr, "kmath: %s\n", e.what());
    return 1;
  }
}
