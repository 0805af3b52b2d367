// Everything Kmath offers, in one include.
#pragma once

#include <math/types.h>

// Core geometry
#include <math/line.h>
#include <math/matrix3d.h>
#include <math/ptstat.h>

// Shape measures
#include <math/circle.h>
#include <math/moments.h>
#include <math/rectangle.h>
#include <math/sample.h>

// Coordinate transformations
#include <math/affine.h>
#include <math/reftrans.h>

// Polylines
#include <math/polyline.h>
#include <math/curvefit.h>
#include <math/curveinfo.h>
#include <math/dtw.h>
#include <math/polyapprox.h>
#include <math/polydir.h>
#include <math/polyortho.h>
#include <math/smoothing.h>
#include <math/splines.h>

// Polygons
#include <math/edgecross.h>
#include <math/plgnoperator.h>
#include <math/polygon.h>
#include <math/prepared.h>

// Triangulation and Voronoi graphs
#include <math/centerline.h>
#include <math/egraph.h>
#include <math/triangulator.h>
#include <math/voronoigraph.h>

// Rasterisation
#include <math/fillpoly.h>

// Classification
#include <math/decisiontree.h>

// Debug drawing
#include <math/debugdc.h>
