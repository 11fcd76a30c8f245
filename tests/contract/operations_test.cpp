// The table of operations has those of the recorded contract, no fewer and no others, and the interface has each where
// the record has it.

#include "contract/operations.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <regex>

#include "support/expect.h"

namespace korvel::tests {
namespace {

/// Position and name of each virtual operation but the destructor, such as "2 clone", in alphabetical order.
using Names = std::vector<std::string>;

Names recorded_operations() {
  const std::string record = text_of(KORVEL_CONTRACT);
  const std::regex virtual_function(R"(<member-function [^>]*vtable-offset='(\d+)'>\s*)"
                                    R"(<function-decl name='([^']*)' mangled-name='_ZNK?4tesk15RigidBodySystem)");
  Names names;
  for (std::sregex_iterator found(record.begin(), record.end(), virtual_function), end; found != end; ++found) {
    names.push_back((*found)[1].str() + ' ' + (*found)[2].str());
  }
  std::sort(names.begin(), names.end());
  return names;
}

/// Where a host finds a virtual function: its pointer has the offset in the table, on some machines and one.
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
      names.push_back(std::to_string(position(operation.method)) + ' ' + name.substr(0, name.find(' ')));
    }
  });
  std::sort(names.begin(), names.end());
  return names;
}

/// The names of the first list that the second one lacks.
std::string missing(const Names& of, const Names& in) {
  Names names;
  std::set_difference(of.begin(), of.end(), in.begin(), in.end(), std::back_inserter(names));
  std::string text;
  for (const std::string& name : names) text += name + "; ";
  return text;
}

TEST(Operations, AreThoseOfTheContract) {
  const Names recorded = recorded_operations();
  const Names table = operations_of_the_table();
  EXPECT_EQ(missing(recorded, table), "") << "are in module/plugin/interface.abi and not in contract/operations.h";
  EXPECT_EQ(missing(table, recorded), "") << "are in contract/operations.h and not in module/plugin/interface.abi";
}

}  // namespace
}  // namespace korvel::tests
