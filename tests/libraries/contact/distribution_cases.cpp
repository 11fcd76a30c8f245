// Random wrenches over two feet and what is made of them, a case in a line of numbers: the wrench in units of the
// weight and of a decimetre, the friction, the residual, then the points.

#include "distribution_cases.h"

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
  using namespace korvel;
  const unsigned long count = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 1;
  for (unsigned long seed = 0; seed < count; ++seed) {
    const tests::DistributionCase one = tests::distribution_case(seed);
    const auto print = [](const Eigen::Vector3d& v) { std::printf("%.17g %.17g %.17g ", v.x(), v.y(), v.z()); };
    print(one.load.force);
    print(one.load.moment);
    std::printf("%.17g %.17g ", one.friction, one.distributed().residual());
    for (const tests::DistributionCase::Point& point : one.points) print(point.arm);
    std::printf("\n");
  }
}
