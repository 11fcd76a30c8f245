#include "metapod/algos/traversal.h"

#include <gtest/gtest.h>

#include <string>

#include "metapod/models/korvel/korvel.h"

namespace korvel::tests {
namespace {

using metapod::korvel;

/// Writes down the visits: "(3" for discover, ")3" for finish, "0-3" for an edge.
template <typename, int i>
struct Recorder {
  static void discover(korvel&, std::string& visits) { visits += '(' + std::to_string(i); }
  static void finish(korvel&, std::string& visits) { visits += ')' + std::to_string(i); }
};
template <typename, int J, int P>
struct EdgeRecorder {
  static void discover(korvel&, std::string& visits) { visits += std::to_string(J) + '-' + std::to_string(P) + ' '; }
};

std::string visits_of(void (*walk)(korvel&, std::string&)) {
  korvel model;
  std::string visits;
  walk(model, visits);
  return visits;
}
template <int start>
using DepthFirst = metapod::internal::depth_first_traversal_internal<Recorder, korvel, start>;
template <int start>
using Backward = metapod::internal::backward_traversal_internal<EdgeRecorder, korvel, start>;

TEST(Traversals, EnterAndLeaveSubtreesDepthFirst) {
  const std::string visits =
      "(0(1(2)2)1(3(4(5(6(7)7)6)5)4)3(8(9(10(11(12(13)13)12)11)10)9)8(14(15(16(17(18(19)19)18)17)16)15)14"
      "(20(21(22(23(24)24)23)22)21)20)0";
  EXPECT_EQ(visits_of(DepthFirst<0>::run), visits);
  EXPECT_EQ(visits_of(DepthFirst<4>::run), "(4(5(6(7)7)6)5)4");
  EXPECT_EQ(visits_of(DepthFirst<24>::run), "(24)24");
}

TEST(Traversals, WalkBackEdgeByEdge) {
  EXPECT_EQ(visits_of(Backward<0>::run), "");
  EXPECT_EQ(visits_of(Backward<20>::run), "0-20 ");
  EXPECT_EQ(visits_of(Backward<13>::run), "12-13 11-12 10-11 9-10 8-9 0-8 ");
}

}  // namespace
}  // namespace korvel::tests
