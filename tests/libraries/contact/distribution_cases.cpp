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
    const double weight = tests::DistributionCase::weight;
    const contact::Distribution distribution = contact::distribute(one.wrench, one.points, weight);
    const auto print = [](const Eigen::Vector3d& v) { std::printf("%.17g %.17g %.17g ", v.x(), v.y(), v.z()); };
    print(one.wrench.force / weight);
    print(one.wrench.moment / (weight * contact::moment_length));
    std::printf("%.17g %.17g ", one.points.front().cone.friction, distribution.residual);
    for (const contact::ContactPoint& point : one.points) print(point.position_world / contact::moment_length);
    std::printf("\n");
  }
}
