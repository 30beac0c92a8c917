// A minimal host program: prints the library version and one exact orientation.
#include <Zarn_2D.h>

#include <iostream>

using namespace KORA_ZARN2D;

int main() {
  const Point2 a(0.5, 0.5), b(12.0, 12.0), c(24.0, 24.0 + 1.0 / (1ull << 48));
  std::cout << getZarn2DVersion() << ": " << getString(getOrientation2(&a, &b, &c)) << std::endl;
  return getOrientation2(&a, &b, &c) == ORIENTATION2_CCW ? 0 : 1;
}
