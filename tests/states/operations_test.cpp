// The operations that tests and validator call are those of the recorded contract, no fewer and no others.

#include "states/operations.h"

#include <algorithm>
#include <regex>

#include "support/expect.h"

namespace korvel::tests {
namespace {

/// One name for each virtual operation but the destructor, overloads several times, in alphabetical order.
using Names = std::vector<std::string>;

Names recorded_operations() {
  const std::string record = text_of(KORVEL_CONTRACT);
  const std::regex virtual_function(R"(<member-function [^>]*vtable-offset='\d+'>\s*)"
                                    R"(<function-decl name='([^']*)' mangled-name='_ZNK?4tesk15RigidBodySystem)");
  Names names;
  for (std::sregex_iterator found(record.begin(), record.end(), virtual_function), end; found != end; ++found) {
    names.push_back((*found)[1]);
  }
  std::sort(names.begin(), names.end());
  return names;
}

/// A word after the name tells overloads apart.
std::string name_of(const std::string& operation) { return operation.substr(0, operation.find(' ')); }

TEST(Operations, AreThoseOfTheContract) {
  Names names;
  for (const Operation& operation : real_time_operations()) names.push_back(name_of(operation.name));
  const Names real_time = names;
  for (const AllocatingOperation& operation : allocating_operations()) {
    // Two searches and a jacobian take memory only when they are called so.
    if (std::find(real_time.begin(), real_time.end(), operation.name) == real_time.end()) {
      names.emplace_back(operation.name);
    }
  }
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, recorded_operations());
}

}  // namespace
}  // namespace korvel::tests
