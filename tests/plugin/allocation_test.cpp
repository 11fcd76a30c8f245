#include "allocations/allocations.h"
#include "states/operations.h"
#include "support/expect.h"

namespace korvel::tests {
namespace {

using ComJacobian = tesk::RigidBodySystem::ComJacobian;

class Allocation : public ModuleTest {};

TEST_F(Allocation, IsNotDoneByComputationsAndAccessors) {
  Arguments arguments(random_state(1), *robot);
  for (const Operation& operation : real_time_operations()) {
    const long made = allocations().made;
    operation.call(*robot, arguments);
    EXPECT_EQ(allocations().made, made) << operation.name;
  }
  const long made = allocations().made;
  EXPECT_EQ(robot->getName(), "");
  EXPECT_EQ(allocations().made, made);
  const auto copy = robot->clone();
  EXPECT_EQ(allocations().made, made + 5);  // the object and its four buffers: it is counted indeed
}

class Exhaustion : public ModuleTest, public testing::WithParamInterface<std::tuple<std::size_t, bool>> {
 public:
  static constexpr std::size_t creation = 0;  // before the operations of an object

 protected:
  void allocate(ComJacobian& J) {
    const auto which = std::get<0>(GetParam());
    if (which == creation) {
      module.create();
    } else {
      allocating_operations()[which - 1].call(*robot, J);
    }
  }
};

std::string name_of(std::size_t which) {
  return which == Exhaustion::creation ? "create" : allocating_operations()[which - 1].name;
}

// Every allocation fails in turn, alone or with all after it, until the operation runs through.
TEST_P(Exhaustion, ThrowsLeaksNothingAndChangesNothing) {
  compute(random_state(1), *robot);
  const auto before = everything_readable(*robot);
  const ComJacobian untouched = ComJacobian::Constant(3, 7, 42);
  ComJacobian J = untouched;
  long refused = 0;
  for (bool happened = true; happened; ++refused) {
    ASSERT_LT(refused, 100);
    const long live = allocations().live;
    long kept = 0;
    bool threw = false;
    {
      const FailingAllocations failing(refused + 1, std::get<1>(GetParam()));
      try {
        allocate(J);
      } catch (const std::bad_alloc&) {
        threw = true;
      } catch (const std::out_of_range&) {
        // Also without memory: the language runtime keeps some for exceptions themselves.
        threw = FailingAllocations::happened();
      }
      happened = FailingAllocations::happened();
      kept = allocations().live - live;
    }
    EXPECT_EQ(threw, happened) << refused;
    EXPECT_TRUE(!happened || (kept == 0 && near(J, untouched, 0))) << refused;
    EXPECT_TRUE(same_bits(everything_readable(*robot), before)) << refused;
  }
  // A name that is empty needs no memory.
  EXPECT_EQ(refused > 1, name_of(std::get<0>(GetParam())) != "getName");
}

INSTANTIATE_TEST_SUITE_P(Operations, Exhaustion,
                         testing::Combine(testing::Range(Exhaustion::creation, allocating_operations().size() + 1),
                                          testing::Bool()),
                         [](const auto& test) {
                           return name_of(std::get<0>(test.param)) + (std::get<1>(test.param) ? "_AllAfter" : "_One");
                         });

}  // namespace
}  // namespace korvel::tests
