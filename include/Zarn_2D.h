// Zarn2D: exact two-dimensional Delaunay and constrained triangulation.
// Umbrella header: including it gives the whole public API of the namespace KORA_ZARN2D.
#pragma once

#include "Bbox2.h"
#include "Circle2.h"
#include "Color.h"
#include "Edge2.h"
#include "Func_compareSegment.h"
#include "KoraTest.h"
#include "Label.h"
#include "MsgBase.h"
#include "Point2.h"
#include "Segment2.h"
#include "Triangle2.h"
#include "TriangleAroundVertexIterator.h"
#include "Vector2.h"
#include "VertexPair2.h"
#include "Visualizer2.h"
#include "ZarnException.h"
#include "freeFunctions.h"
