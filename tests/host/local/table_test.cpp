#include "host/local/table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "host/local/job.h"

namespace host {
namespace {

using local::Position;

Table velocities() { return Table("vin", 1, "CDP", "TIME", "VEL_RMS"); }

void add(Table& table, float x, const std::vector<std::pair<float, float>>& points) {
  for (const auto& [y, z] : points) table.add(x, y, &z);
}

/// One function of constant value at each position, X from 1.
Table scattered(const std::vector<Position>& positions, double (*value)(Position)) {
  Table table = velocities();
  for (std::size_t k = 0; k < positions.size(); ++k) {
    const auto x = static_cast<float>(k + 1);
    add(table, x, {{0.0f, static_cast<float>(value(positions[k]))}});
    table.place(x, positions[k]);
  }
  return table;
}

std::vector<float> along(const Table& table, float x, int nt, float dt, float t0 = 0.0f) {
  std::vector<float> out(static_cast<std::size_t>(nt), -1.0f);
  EXPECT_TRUE(table.alongX(x, nt, t0, dt, out.data()));
  return out;
}

float at(const Table& table, double x, double y) {
  float out = -1.0f;
  std::string why;
  EXPECT_TRUE(table.atPosition({x, y}, 1, 0, 0.0f, 4.0f, &out, why)) << why;
  return out;
}

std::string refusal(const Table& table, Position place = {0.0, 0.0}) {
  float out = 0.0f;
  std::string why;
  EXPECT_FALSE(table.atPosition(place, 1, 0, 0.0f, 4.0f, &out, why));
  return why;
}

/// A plane: linear interpolation has to give it back everywhere inside the hull.
double plane(Position p) { return 2000.0 + 0.25 * p.x - 0.125 * p.y; }
double number(Position p) { return 1000.0 + p.x; }

TEST(Table, AFunctionIsLinearBetweenItsPointsAndKeepsItsEndValuesBeyond) {
  Table table = velocities();
  add(table, 7.0f, {{4.0f, 1500.0f}, {12.0f, 1700.0f}, {16.0f, 1600.0f}});
  EXPECT_EQ(along(table, 7.0f, 6, 4.0f), (std::vector<float>{1500.0f, 1500.0f, 1600.0f, 1700.0f, 1600.0f, 1600.0f}));
  EXPECT_EQ(along(table, 7.0f, 2, 1.0f, 13.0f), (std::vector<float>{1675.0f, 1650.0f}));
}

TEST(Table, SampleTimesAreFormedInSinglePrecisionAndTheValueIsRoundedOnce) {
  Table table = velocities();
  add(table, 1.0f, {{0.0f, 1500.1f}, {1000.0f, 4321.7f}});
  add(table, 4.0f, {{0.0f, 1611.3f}, {333.0f, 2000.9f}, {1000.0f, 3999.9f}});
  const float dt = 0.7f;
  const std::vector<float> got = along(table, 2.0f, 400, dt, 0.3f);
  for (int i = 0; i < 400; ++i) {
    const float t = static_cast<float>(i) * dt + 0.3f;
    const double first = 1500.1f + (static_cast<double>(4321.7f) - 1500.1f) * (static_cast<double>(t) / 1000.0);
    const double second =
        t < 333.0f ? 1611.3f + (static_cast<double>(2000.9f) - 1611.3f) * (static_cast<double>(t) / 333.0)
                   : 2000.9f + (static_cast<double>(3999.9f) - 2000.9f) * ((static_cast<double>(t) - 333.0) / 667.0);
    ASSERT_EQ(got[static_cast<std::size_t>(i)], static_cast<float>(first + (1.0 / 3.0) * (second - first))) << i;
  }
}

TEST(Table, BetweenCdpsTheNeighboursTakePartAndBeyondThemTheEndFunctions) {
  Table table = velocities();
  add(table, 10.0f, {{0.0f, 1000.0f}, {8.0f, 1800.0f}});
  add(table, 20.0f, {{0.0f, 2000.0f}, {4.0f, 2100.0f}, {8.0f, 2400.0f}});
  EXPECT_EQ(along(table, 15.0f, 3, 4.0f), (std::vector<float>{1500.0f, 1750.0f, 2100.0f}));
  EXPECT_EQ(along(table, 20.0f, 3, 4.0f), (std::vector<float>{2000.0f, 2100.0f, 2400.0f}));
  EXPECT_EQ(along(table, 3.0f, 3, 4.0f), along(table, 10.0f, 3, 4.0f));
  EXPECT_EQ(along(table, 99.0f, 3, 4.0f), along(table, 20.0f, 3, 4.0f));
  float out = 0.0f;
  EXPECT_FALSE(velocities().alongX(1.0f, 1, 0.0f, 4.0f, &out));
}

TEST(Table, AHorizonIsInterpolatedBetweenItsCdpsAndGivesAllItsValues) {
  Table table("hor", 3);
  for (const float horizon : {1.0f, 2.0f})
    for (const float cdp : {100.0f, 200.0f, 300.0f}) {
      const float z[] = {0.0f, horizon, 1000.0f * horizon + cdp};
      table.add(horizon, cdp, z);
    }
  std::vector<float> z(3, -1.0f);
  table.point(2.0f, 150.0f, z.data());
  EXPECT_EQ(z, (std::vector<float>{0.0f, 2.0f, 2150.0f}));
  table.point(1.0f, 900.0f, z.data());
  EXPECT_EQ(z, (std::vector<float>{0.0f, 1.0f, 1300.0f}));
  table.point(1.5f, 300.0f, z.data());
  EXPECT_EQ(z, (std::vector<float>{0.0f, 1.5f, 1800.0f}));
  Table("hor", 3).point(1.0f, 1.0f, z.data());
  EXPECT_EQ(z, (std::vector<float>(3, 0.0f)));
}

TEST(TableOnTheMap, APlaneComesBackFromAGridAndFromScatteredPositions) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> anywhere(0.0, 900.0), inside(5.0, 895.0);
  std::vector<Position> grid, scatter = {{0, 0}, {900, 0}, {0, 900}, {900, 900}};
  for (int k = 0; k < 100; ++k) grid.push_back({100.0 * (k % 10), 100.0 * (k / 10)});
  for (int k = 0; k < 300; ++k) scatter.push_back({inside(random), inside(random)});
  for (const auto& positions : {grid, scatter}) {
    const Table table = scattered(positions, plane);
    for (int k = 0; k < 1000; ++k) {
      const Position p{anywhere(random), anywhere(random)};
      ASSERT_NEAR(at(table, p.x, p.y), plane(p), 2e-3) << p.x << ' ' << p.y;
    }
  }
}

TEST(TableOnTheMap, WhereAFunctionStandsItsStoredValuesComeBackUnchanged) {
  // Positions in tenths of a metre, which the trace headers round to single precision.
  Table table("v", 3);
  const std::vector<float> times = {0.0f, 10.0f, 17.0f};
  const auto value = [](int k, std::size_t t, int z) {
    return 1500.1f + 7.3f * static_cast<float>(k) + 31.7f * static_cast<float>(t) + static_cast<float>(z);
  };
  const auto position = [](int k) {
    return Position{450025.1 + 12.3 * (k % 20) - 4.1 * (k / 20), 6200039.7 + 4.1 * (k % 20) + 12.3 * (k / 20)};
  };
  for (int k = 0; k < 400; ++k) {
    for (std::size_t t = 0; t < times.size(); ++t) {
      const float z[] = {value(k, t, 0), value(k, t, 1), value(k, t, 2)};
      table.add(static_cast<float>(k), times[t], z);
    }
    table.place(static_cast<float>(k), position(k));
  }
  for (int k = 0; k < 400; ++k) {
    const volatile float x = static_cast<float>(position(k).x), y = static_cast<float>(position(k).y);  // a header word
    for (int z = 0; z < 3; ++z) {
      float out[18];
      std::string why;
      ASSERT_TRUE(table.atPosition({x, y}, 18, z, 0.0f, 1.0f, out, why));
      for (std::size_t t = 0; t < times.size(); ++t)
        ASSERT_EQ(out[static_cast<int>(times[t])], value(k, t, z)) << k << ' ' << z;
    }
  }
}

TEST(TableOnTheMap, OutsideTheHullTheNearestEdgeOrFunctionTakesPart) {
  const Table square = scattered({{0, 0}, {100, 0}, {100, 100}, {0, 100}}, plane);
  EXPECT_EQ(at(square, 25.0, -400.0), static_cast<float>(plane({25.0, 0.0})));
  EXPECT_EQ(at(square, 1e6, 75.0), static_cast<float>(plane({100.0, 75.0})));
  EXPECT_EQ(at(square, -30.0, 140.0), static_cast<float>(plane({0.0, 100.0})));
  EXPECT_EQ(at(square, 100.0, -1.0), static_cast<float>(plane({100.0, 0.0})));
}

TEST(TableOnTheMap, OneFunctionOrALineOfFunctionsCoversTheWholeMap) {
  EXPECT_EQ(at(scattered({{5, 5}}, plane), -3000.0, 12.0), static_cast<float>(plane({5, 5})));
  const Table line = scattered({{200, 200}, {0, 0}, {100, 100}}, number);
  EXPECT_EQ(at(line, 50.0, 50.0), 1050.0f);
  EXPECT_EQ(at(line, 160.0, 140.0), 1150.0f);
  EXPECT_EQ(at(line, -60.0, 10.0), 1000.0f);
  EXPECT_EQ(at(line, 200.0, 200.0), 1200.0f);
  EXPECT_EQ(at(scattered({{0, 0}, {10, 0}}, number), 2.5, 7.0), 1002.5f);
}

TEST(TableOnTheMap, ALineThatIsRoundedToWholeMetresInterpolatesBetweenNeighbours) {
  // A wiggly value: a function from far along the line would show at once.
  Table table = velocities();
  std::vector<Position> positions;
  for (int k = 0; k < 200; ++k) {
    positions.push_back({std::round(450000.0 + 43.3 * k), std::round(6200000.0 + 25.0 * k)});
    const auto x = static_cast<float>(k + 1);
    add(table, x, {{0.0f, k % 2 == 0 ? 2000.0f : 3000.0f}});
    table.place(x, positions.back());
  }
  for (std::size_t k = 0; k + 1 < positions.size(); ++k) {
    const Position a = positions[k], b = positions[k + 1];
    for (const double off : {-2.0, 0.0, 2.0})
      ASSERT_NEAR(at(table, 0.5 * (a.x + b.x) - 0.5 * off, 0.5 * (a.y + b.y) + 0.866 * off), 2500.0, 40.0) << k;
  }
}

TEST(TableOnTheMap, WhatCannotBeAnsweredIsRefusedWithTheReason) {
  EXPECT_NE(refusal(velocities()).find("no functions"), std::string::npos);
  Table unplaced = scattered({{0, 0}, {100, 0}}, number);
  add(unplaced, 12.0f, {{0.0f, 1.0f}});
  EXPECT_NE(refusal(unplaced).find("12"), std::string::npos);
  EXPECT_NE(refusal(scattered({{0, 0}}, number), {std::nan(""), 0.0}).find("finite"), std::string::npos);
  EXPECT_THROW(unplaced.place(12.0f, {std::numeric_limits<double>::infinity(), 0.0}), local::RunError);
}

TEST(TableOnTheMap, TwoFunctionsAtOnePositionAreRefusedUnlessTheySayTheSame) {
  Table table = scattered({{0, 0}, {100, 50}, {100, 50}}, number);
  EXPECT_EQ(at(table, 100.0, 50.0), 1100.0f);
  add(table, 3.0f, {{0.0f, 1234.0f}});
  const std::string why = refusal(table);
  EXPECT_NE(why.find("functions at 2 and 3"), std::string::npos) << why;
  EXPECT_NE(why.find("(100, 50)"), std::string::npos) << why;
}

}  // namespace
}  // namespace host
