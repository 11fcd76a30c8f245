#include "metapod/algos/traversal.h"

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

#include "metapod/models/korvel/korvel.h"

namespace korvel::tests {
namespace {

using metapod::korvel;
using Visits = std::vector<int>;
using Edges = std::vector<std::pair<int, int>>;

template <typename, int i>
struct Recorder {
  static void discover(korvel&, Visits& discovered, Visits&) { discovered.push_back(i); }
  static void finish(korvel&, Visits&, Visits& finished) { finished.push_back(i); }
};
template <int start>
using Traversal = metapod::internal::depth_first_traversal_internal<Recorder, korvel, start>;

template <typename, int J, int P>
struct EdgeRecorder {
  static void discover(korvel&, Edges& edges) { edges.push_back({J, P}); }
};

template <typename Walk, typename... Records>
std::tuple<Records...> recorded(Walk walk, Records... records) {
  korvel model;
  walk(model, records...);
  return {records...};
}
template <int start>
Edges edges_above() {
  return std::get<0>(recorded(
      metapod::internal::backward_traversal_internal<EdgeRecorder, korvel, start>::template run<Edges>, Edges()));
}

TEST(Traversals, DiscoverParentsFirstAndFinishThemLast) {
  Visits ids(25);
  std::iota(ids.begin(), ids.end(), 0);
  Visits finished{2, 1, 7, 6, 5, 4, 3, 13, 12, 11, 10, 9, 8, 19, 18, 17, 16, 15, 14, 24, 23, 22, 21, 20, 0};
  EXPECT_EQ(recorded(Traversal<0>::run<Visits, Visits>, Visits(), Visits()), std::tuple(ids, finished));
  EXPECT_EQ(recorded(Traversal<24>::run<Visits, Visits>, Visits(), Visits()), std::tuple(Visits{24}, Visits{24}));
  EXPECT_EQ(recorded(Traversal<3>::run<Visits, Visits>, Visits(), Visits()),
            std::tuple(Visits{3, 4, 5, 6, 7}, Visits{7, 6, 5, 4, 3}));
  ids.erase(ids.begin());
  finished.pop_back();
  EXPECT_EQ(recorded(Traversal<0>::run_below<Visits, Visits>, Visits(), Visits()), std::tuple(ids, finished));
}

TEST(Traversals, WalkBackEdgeByEdge) {
  EXPECT_EQ(edges_above<0>(), Edges());
  EXPECT_EQ(edges_above<20>(), (Edges{{0, 20}}));
  EXPECT_EQ(edges_above<7>(), (Edges{{6, 7}, {5, 6}, {4, 5}, {3, 4}, {0, 3}}));
  EXPECT_EQ(edges_above<13>(), (Edges{{12, 13}, {11, 12}, {10, 11}, {9, 10}, {8, 9}, {0, 8}}));
}

}  // namespace
}  // namespace korvel::tests
