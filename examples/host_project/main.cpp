// A minimal host program: triangulates a few points through the installed package.
#include <Zarn_2D.h>

#include <iostream>

using namespace KORA_ZARN2D;

int main() {
  Zarn_2D dt(5);
  std::vector<Point2> vPoints{Point2(0, 0), Point2(2, 0), Point2(2, 2), Point2(0, 2), Point2(1, 0.5)};
  dt.insert(vPoints);
  const Point2 a(0.5, 0.5), b(12.0, 12.0), c(24.0, 24.0 + 1.0 / (1ull << 48));
  std::cout << getZarn2DVersion() << ": " << dt.numberOfTriangles() << " triangles, orientation "
            << getString(getOrientation2(&a, &b, &c)) << std::endl;
  const bool bOk(dt.numberOfTriangles() == 4 && dt.checkValidity(true, "host") && getOrientation2(&a, &b, &c) == ORIENTATION2_CCW);
  return bOk ? 0 : 1;
}
