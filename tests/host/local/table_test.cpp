#include "host/local/table.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "tests/support/host_test.h"

namespace host {
namespace {

using korvane_test::expectParts;
using local::Position;
using Values = std::vector<float>;

Table velocities() { return Table("vin", 1, "CDP", "TIME", "VEL_RMS"); }

void add(Table& table, float x, const std::vector<std::pair<float, float>>& points) {
  for (const auto& [y, z] : points) table.add(x, y, &z);
}

/// A plane: linear interpolation has to give it back everywhere inside the hull.
double plane(Position p) { return 2000.0 + 0.25 * p.x - 0.125 * p.y; }

/// One function of constant value at each position, X from 1: the plane.
Table scattered(const std::vector<Position>& positions) {
  Table table = velocities();
  float x = 1.0f;
  for (const Position& position : positions) {
    add(table, x, {{0.0f, static_cast<float>(plane(position))}});
    table.place(x++, position);
  }
  return table;
}

Values along(const Table& table, float x, int nt, float dt, float t0 = 0.0f) {
  Values out(static_cast<std::size_t>(nt), -1.0f);
  EXPECT_TRUE(table.alongX(x, nt, t0, dt, out.data()));
  return out;
}

float at(const Table& table, double x, double y) {
  float out = -1.0f;
  std::string why;
  EXPECT_TRUE(table.atPosition({x, y}, 1, 0, 0.0f, 4.0f, &out, why)) << why;
  return out;
}

void expectRefused(const Table& table, const std::vector<std::string>& parts, Position place = {0.0, 0.0}) {
  float out = 0.0f;
  std::string why;
  EXPECT_FALSE(table.atPosition(place, 1, 0, 0.0f, 4.0f, &out, why));
  expectParts(why, parts);
}

TEST(Table, IsLinearBetweenPointsAndBetweenCdpsAndKeepsItsEndsBeyond) {
  Table table = velocities();
  float out = 9.0f;
  EXPECT_FALSE(table.alongX(1.0f, 1, 0.0f, 4.0f, &out));
  table.point(1.0f, 1.0f, &out);
  EXPECT_EQ(out, 0.0f);
  add(table, 10.0f, {{8.0f, 1800.0f}, {4.0f, 1000.0f}});
  add(table, 20.0f, {{0.0f, 2000.0f}, {4.0f, 2100.0f}, {8.0f, 2400.0f}});
  for (const float cdp : {3.0f, 10.0f}) EXPECT_EQ(along(table, cdp, 4, 3.0f), (Values{1000, 1000, 1400, 1800})) << cdp;
  EXPECT_EQ(along(table, 15.0f, 4, 4.0f), (Values{1500, 1550, 2100, 2100}));
  for (const float cdp : {20.0f, 99.0f}) EXPECT_EQ(along(table, cdp, 2, 1.0f, 5.0f), (Values{2175, 2250})) << cdp;
}

TEST(Table, SampleTimesAreFormedInSinglePrecisionAndTheValueIsRoundedOnce) {
  Table table = velocities();
  add(table, 1.0f, {{0.0f, 1500.1f}, {1000.0f, 4321.7f}});
  add(table, 4.0f, {{0.0f, 1611.3f}, {333.0f, 2000.9f}, {1000.0f, 3999.9f}});
  const float dt = 0.7f;
  const Values got = along(table, 2.0f, 400, dt, 0.3f);
  for (int i = 0; i < 400; ++i) {
    const float t = static_cast<float>(i) * dt + 0.3f;
    const double first = 1500.1f + (static_cast<double>(4321.7f) - 1500.1f) * (static_cast<double>(t) / 1000.0);
    const double second =
        t < 333.0f ? 1611.3f + (static_cast<double>(2000.9f) - 1611.3f) * (static_cast<double>(t) / 333.0)
                   : 2000.9f + (static_cast<double>(3999.9f) - 2000.9f) * ((static_cast<double>(t) - 333.0) / 667.0);
    ASSERT_EQ(got[static_cast<std::size_t>(i)], static_cast<float>(first + (1.0 / 3.0) * (second - first))) << i;
  }
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
    const Table table = scattered(positions);
    for (int k = 0; k < 1000; ++k) {
      const Position p{anywhere(random), anywhere(random)};
      ASSERT_NEAR(at(table, p.x, p.y), plane(p), 2e-3) << p.x << ' ' << p.y;
    }
  }
}

TEST(TableOnTheMap, WhereAFunctionStandsItsStoredValuesComeBackUnchanged) {
  // Positions in tenths of a metre, which the trace headers round to single precision.
  const auto position = [](int k) {
    return Position{450025.1 + 12.3 * (k % 20) - 4.1 * (k / 20), 6200039.7 + 4.1 * (k % 20) + 12.3 * (k / 20)};
  };
  const auto values = [](int k, float time) {
    const float first = 1500.1f + 7.3f * static_cast<float>(k) + 3.17f * time;
    return Values{first, first + 1.1f, first + 2.3f};
  };
  Table table("v", 3);
  for (int k = 0; k < 400; ++k) {
    for (const float time : {0.0f, 10.0f, 17.0f}) table.add(static_cast<float>(k), time, values(k, time).data());
    table.place(static_cast<float>(k), position(k));
  }
  for (int k = 0; k < 400; ++k) {
    const volatile float x = static_cast<float>(position(k).x), y = static_cast<float>(position(k).y);  // a header word
    for (int z = 0; z < 3; ++z) {
      float out[18];
      std::string why;
      ASSERT_TRUE(table.atPosition({x, y}, 18, z, 0.0f, 1.0f, out, why));
      for (const int time : {0, 10, 17}) ASSERT_EQ(out[time], values(k, static_cast<float>(time))[z]) << k << ' ' << z;
    }
  }
}

TEST(TableOnTheMap, OutsideTheHullTheNearestEdgeOrFunctionTakesPart) {
  const auto expectLike = [](const Table& table, Position place, Position nearest) {
    EXPECT_EQ(at(table, place.x, place.y), static_cast<float>(plane(nearest))) << place.x << ' ' << place.y;
  };
  const Table square = scattered({{0, 0}, {100, 0}, {100, 100}, {0, 100}});
  expectLike(square, {25, -400}, {25, 0});
  expectLike(square, {-30, 140}, {0, 100});
  expectLike(scattered({{5, 5}}), {-3000, 12}, {5, 5});
  const Table line = scattered({{200, 200}, {0, 0}, {100, 100}});
  expectLike(line, {50, 50}, {50, 50});
  expectLike(line, {160, 140}, {150, 150});
  expectLike(line, {-60, 10}, {0, 0});
}

TEST(TableOnTheMap, ALineThatIsRoundedToWholeMetresInterpolatesBetweenNeighbours) {
  // Values that go up and down: a function from far along the line would show at once.
  std::vector<Position> positions;
  for (int k = 0; k < 200; ++k)
    positions.push_back({std::round(450000.0 + 43.3 * k), std::round(6200000.0 + 25.0 * k)});
  Table table = scattered(positions);
  for (int k = 0; k < 200; ++k) add(table, static_cast<float>(k + 1), {{0.0f, k % 2 == 0 ? 2000.0f : 3000.0f}});
  for (std::size_t k = 0; k + 1 < positions.size(); ++k) {
    const Position a = positions[k], b = positions[k + 1];
    for (const double off : {-2.0, 0.0, 2.0})
      ASSERT_NEAR(at(table, 0.5 * (a.x + b.x) - 0.5 * off, 0.5 * (a.y + b.y) + 0.866 * off), 2500.0, 40.0) << k;
  }
}

TEST(TableOnTheMap, WhatCannotBeAnsweredIsRefusedWithTheReason) {
  expectRefused(velocities(), {"no functions"});
  Table table = scattered({{0, 0}, {100, 50}, {100, 50}});
  EXPECT_EQ(at(table, 100.0, 50.0), 2018.75f);  // two functions that say the same
  expectRefused(table, {"finite"}, {std::nan(""), 0.0});
  add(table, 3.0f, {{0.0f, 1234.0f}});
  expectRefused(table, {"functions at 2 and 3", "(100, 50)"});
  add(table, 12.0f, {{0.0f, 1.0f}});
  expectRefused(table, {"12"});
  EXPECT_THROW(table.place(12.0f, {std::numeric_limits<double>::infinity(), 0.0}), local::RunError);
}

}  // namespace
}  // namespace host
