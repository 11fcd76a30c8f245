// Turns a pose into coordinates and back with the installed math types.

#include <cmath>

#include "plugin/rigid_body_system.h"

#ifdef EXPECTED_STANDARD
static_assert(__cplusplus == EXPECTED_STANDARD, "the host's own standard is kept");
#endif

int main() {
  const QZ::Math::Position6D there(1, 2, 3, 0.1F, 0.2F, 0.3F);
  const QZ::Math::Position6D back = QZ::Math::position6DFromTransform(QZ::Math::transformFromPosition6D(there));
  return std::abs(back.az - there.az) < 1e-6F && back.z == there.z ? 0 : 1;
}
