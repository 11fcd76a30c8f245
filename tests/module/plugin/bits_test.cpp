#include "contract/bit_hash.h"
#include "support/expect.h"

namespace korvel::tests {
namespace {

class Bits : public ModuleTest {};

// The last bit shows a change that nothing else notices.
TEST_F(Bits, OfAllResultsAreThoseThatWereRecorded) { EXPECT_EQ(bit_hash(*robot), recorded_bit_hash); }

}  // namespace
}  // namespace korvel::tests
