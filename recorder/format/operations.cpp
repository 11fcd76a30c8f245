#include "recorder/format/operations.h"

#include <tuple>
#include <utility>

namespace korvel::recording {

namespace {

using ComJacobian = Interface::ComJacobian;

/// A jacobian that goes in and comes out is recorded with its columns as an argument, and as the result.
template <auto method>
constexpr bool fills_jacobian = operation_of<method> == operation_of<&Interface::computePartialComJacobian>;

template <typename... Values>
constexpr std::array<Shape, 4> shapes_of(const std::tuple<Values...>*) {
  return {shape_of<std::conditional_t<std::is_same_v<Values, ComJacobian>, unsigned long, Values>>...};
}

template <auto method>
constexpr Shape result_shape() {
  if constexpr (fills_jacobian<method>) {
    return shape_of<ComJacobian>;
  } else if constexpr (!row_of<method>.stages.empty()) {
    return {NumberType::real, [](const RobotSize& size) { return shown_numbers(row_of<method>.stages, size); }};
  } else {
    return shape_of<typename SignatureOf<method>::Result>;
  }
}

/// Takes one value and goes on to the next.
template <typename Value>
auto next(const char*& from, const RobotSize& size) {
  const std::size_t bytes = shape_of<Value>.bytes(size);
  return take<Value>(std::exchange(from, from + bytes), bytes);
}

template <auto method, typename... Values>
void call(Interface& robot, const RobotSize& size, const char* arguments, char* result, const std::tuple<Values...>*) {
  using Result = typename SignatureOf<method>::Result;
  // Braces evaluate their elements one after the other.
  const std::tuple<decltype(next<Values>(arguments, size))...> values{next<Values>(arguments, size)...};
  std::apply(
      [&](const auto&... value) {
        if constexpr (std::is_void_v<Result>) {
          (robot.*method)(value...);
        } else {
          put(result, shape_of<Result>.bytes(size), (robot.*method)(value...));
        }
      },
      values);
}

void fill_jacobian(Interface& robot, const RobotSize& size, const char* arguments, char* result) {
  const auto b = next<unsigned long>(arguments, size);
  const auto columns = static_cast<unsigned long>(size.coordinates());
  // One of another size is made anew, whatever it was.
  const bool same = next<unsigned long>(arguments, size) == columns;
  ComJacobian J = ComJacobian::Zero(3, same ? size.coordinates() : 0);
  robot.computePartialComJacobian(b, J);
  put(result, shape_of<ComJacobian>.bytes(size), J);
}

template <auto method>
constexpr OperationEntry entry_of(const OperationRow<method>& row) {
  constexpr Operation number = operation_of<method>;
  if constexpr (number == operation_of<&Interface::clone>) {
    // The arguments are the original object and the number of its next call.
    return {row, number, {shape_of<unsigned long>, shape_of<unsigned long>}, {}, nullptr};
  } else if constexpr (!std::is_member_function_pointer_v<decltype(row.method)>) {
    return {row, number, {}, {}, nullptr};
  } else {
    using Values = typename SignatureOf<method>::Values;
    constexpr auto arguments = shapes_of(static_cast<const Values*>(nullptr));
    if constexpr (fills_jacobian<method>) {
      return {row, number, arguments, result_shape<method>(), fill_jacobian};
    } else {
      return {row, number, arguments, result_shape<method>(),
              [](Interface& robot, const RobotSize& size, const char* from, char* result) {
                call<method>(robot, size, from, result, static_cast<const Values*>(nullptr));
              }};
    }
  }
}

const char* numpy_type(NumberType type) {
  static constexpr const char* types[] = {"", "f4", "u8", "i8", "S"};
  return types[static_cast<int>(type)];
}

std::string description(const Shape& shape, const RobotSize& size) {
  return std::string("[\"") + numpy_type(shape.type) + "\"," + std::to_string(shape.numbers(size)) + ']';
}

}  // namespace

constexpr std::array<OperationEntry, operation_count> all_operations =
    std::apply([](const auto&... row) { return std::array<OperationEntry, operation_count>{entry_of(row)...}; },
               table::operations);

std::size_t OperationEntry::argument_bytes(const RobotSize& size) const {
  std::size_t bytes = 0;
  for (const Shape& shape : arguments) bytes += shape.bytes(size);
  return bytes;
}

std::string description(const OperationEntry& operation, const RobotSize& size) {
  std::string arguments;
  for (const Shape& shape : operation.arguments) {
    if (shape.type != NumberType::none) arguments += (arguments.empty() ? "" : ",") + description(shape, size);
  }
  const bool has_result = operation.result.numbers(size) > 0;
  return std::string("{\"name\":\"") + operation.name + "\",\"arguments\":[" + arguments + ']' +
         (has_result ? ",\"result\":" + description(operation.result, size) : "") + '}';
}

}  // namespace korvel::recording
