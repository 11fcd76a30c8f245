#include "host/validate/observe/shown.h"

#include <algorithm>
#include <cstring>

#include "host/validate/core/require.h"

namespace korvel::validate {

bool same(float a, float b) { return std::memcmp(&a, &b, sizeof(a)) == 0; }
bool same(const QZ::Math::Transform& a, const QZ::Math::Transform& b) { return std::memcmp(&a, &b, sizeof(a)) == 0; }
bool same(const QZ::Math::Position3D& a, const QZ::Math::Position3D& b) { return std::memcmp(&a, &b, sizeof(a)) == 0; }

void require_same(const std::vector<float>& seen, const std::vector<float>& expected, const std::string& after,
                  const std::vector<Part>& apart) {
  for (const Part& part : Parts::all) {
    const auto is_this = [&](const Part& other) { return other.first == part.first; };
    if (std::any_of(apart.begin(), apart.end(), is_this)) continue;
    for (auto place = part.first; place < part.last; ++place) {
      const auto i = static_cast<std::size_t>(place);
      require(same(seen[i], expected[i]), "after {}: {} {}, number {}, is {:.9g}, expected {:.9g}", after, part.piece,
              (place - part.first) / part.length, (place - part.first) % part.length, seen[i], expected[i]);
    }
  }
}

}  // namespace korvel::validate
