// --zone in the main zarn2d run: the selected zone becomes the region every output shows.
#include <memory>

#include "toolRun.h"
#include "zoneOption.h"

using namespace KORA_ZARN2D;

ToolExtension makeZoneExtension(bool& bZone) {
  const std::shared_ptr<ZoneRequest> pRequest(std::make_shared<ZoneRequest>());
  ToolExtension extension;
  const ToolOption zone{"--zone", 0, "inside|outside|global|grow:X,Y",
                        "the region of the constraint rings to show and write (counterclockwise rings\n"
                        "bound regions, clockwise rings holes; grow: reached from X,Y without crossing a\n"
                        "constraint); prints its parts and areas; implies --oriented",
                        [pRequest, &bZone](const std::string& value) {
                          if (!parseZoneOption(value, *pRequest)) return "needs inside, outside, global or grow:X,Y, not \"" + value + "\"";
                          bZone = true;
                          return std::string();
                        }};
  extension.options = OptionGroup{"Zones", {zone}};
  extension.shape = [pRequest](ToolRun& run) {
    if (pRequest->kind == ZoneRequest::NONE) return true;
    if (!isZoneRequestUsable(*pRequest, !run.vGraphs.empty())) return false;
    if (!run.dt.is2D()) {
      run.console.error("--zone needs triangles: the points are collinear");
      return false;
    }
    Zone2* pZone(createRequestedZone(run.dt, *pRequest));
    if (pZone == nullptr) return false;
    run.pRegion = pZone;
    return true;
  };
  return extension;
}
