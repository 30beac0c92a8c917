// The --zone option of the zarn2d tool: which zone of the constraint graphs to select, and how it
// is reported and drawn.
#pragma once

#include <string>
#include <vector>

#include "Zarn_2D.h"

/// The zone the user asked for with --zone.
struct ZoneRequest {
  enum Kind { NONE, INSIDE, OUTSIDE, GLOBAL, GROW };
  Kind kind = NONE;
  KORA_ZARN2D::Point2 start;  // GROW: the start point
};

/// Parses the value of --zone: "inside", "outside", "global" or "grow:X,Y"; false for anything else.
bool parseZoneOption(const std::string& value, ZoneRequest& request);

/// True when the request can be served: inside and outside need constraint graphs. Prints the
/// reason on standard error otherwise.
bool isZoneRequestUsable(const ZoneRequest& request, bool bHasConstraints);

/// Makes the requested zone from the triangulation's constraint graphs and prints its regions
/// (edge-connected components) with their areas. Inside and outside use the graphs made of closed
/// rings (counterclockwise boundaries, clockwise holes); others are named and left out. Null
/// (with the library's message) when no zone can be made.
KORA_ZARN2D::Zone2* createRequestedZone(KORA_ZARN2D::Zarn_2D& dt, const ZoneRequest& request);
