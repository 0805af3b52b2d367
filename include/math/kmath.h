// Everything Kmath offers, in one include.
#pragma once

#include <math/types.h>

#include <math/line.h>
#include <math/matrix3d.h>
#include <math/ptstat.h>

#include <math/circle.h>
#include <math/moments.h>
#include <math/sample.h>
#include <math/rectangle.h>

#include <math/affine.h>
#include <math/reftrans.h>

#include <math/polyline.h>

#include <math/curveinfo.h>
#include <math/polyapprox.h>
#include <math/smoothing.h>
#include <math/splines.h>
#include <math/dtw.h>

#include <math/polydir.h>
#include <math/polyortho.h>

#include <math/polygon.h>
#include <math/prepared.h>

#include <math/fillpoly.h>

#include <math/decisiontree.h>

#include <math/debugdc.h>
#include <math/edgecross.h>
#include <math/plgnoperator.h>
#include <math/egraph.h>
#include <math/triangulator.h>
#include <math/centerline.h>
#include <math/voronoigraph.h>
#include <math/curvefit.h>
