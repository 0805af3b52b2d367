// Between the tool's polygon geometry and the library's polygon with holes.
#pragma once

#include <math/polygon.h>

#include "geometry.h"

namespace kmath_tool {

// Every ring of every part, closed, as one even-odd polygon.
CStdPlgn ToPlgn(Geometry const& g);
// A result of the boolean operations (outer contours counter-clockwise, each
// followed by its clockwise holes) as a (multi)polygon.
Geometry FromPlgn(CStdPlgn const& p);

}  // namespace kmath_tool
