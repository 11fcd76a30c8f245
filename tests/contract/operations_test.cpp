// The table of operations has those of the recorded contract, no fewer and no others, and the interface has each where
// the record has it.

#include "contract/operations.h"

#include <cstring>
#include <regex>
#include <set>

#include "support/expect.h"

namespace korvel::tests {
namespace {

/// Position and name of each virtual operation but the destructor, such as "2 clone".
using Names = std::set<std::string>;

Names recorded_operations() {
  const std::string record = text_of(KORVEL_CONTRACT);
  const std::regex virtual_function(R"(<member-function [^>]*vtable-offset='(\d+)'>\s*)"
                                    R"(<function-decl name='([^']*)' mangled-name='_ZNK?4tesk15RigidBodySystem)");
  Names names;
  for (std::sregex_iterator found(record.begin(), record.end(), virtual_function), end; found != end; ++found) {
    names.insert((*found)[1].str() + ' ' + (*found)[2].str());
  }
  return names;
}

/// Returns where a host finds a virtual function: a pointer to it holds the offset in the table, plus one on some
/// machines.
template <typename Method>
std::size_t position(Method method) {
  std::size_t offset = 0;
  static_assert(sizeof(method) == 2 * sizeof(offset));
  std::memcpy(&offset, &method, sizeof(offset));
  return offset / sizeof(offset);
}

Names operations_of_the_table() {
  Names names;
  for_each_operation([&](const auto& operation) {
    // `destroy` is behind the destructor, `create` has no position. A word after the name tells overloads apart.
    if constexpr (std::is_member_function_pointer_v<decltype(operation.method)>) {
      const std::string name = operation.name;
      names.insert(std::to_string(position(operation.method)) + ' ' + name.substr(0, name.find(' ')));
    }
  });
  return names;
}

TEST(Operations, AreThoseOfTheContract) {
  EXPECT_EQ(operations_of_the_table(), recorded_operations()) << "of contract/operations.h and of interface.abi";
}

}  // namespace
}  // namespace korvel::tests
