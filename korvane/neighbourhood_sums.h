#pragma once

#include <cstddef>
#include <functional>
#include <memory>

#include "korvane/run_state.h"

namespace korvane {

/// The five sums of solution::a_sauavg over the stored neighbours of one grid position.
struct NeighbourhoodTotals {
  int kcdp = 0;     ///< slot of the position
  int count = 0;    ///< stored neighbours
  int isample = 0;  ///< first sample that all of them cover
  const double *asum = nullptr, *bsum = nullptr, *sumr = nullptr, *sumi = nullptr, *wts = nullptr;  ///< idiff each
};

/// Sums of the smoothed products of A and B over the neighbourhoods of one sector's grid: bit for bit those of adding
/// the stored neighbours one after the other, inline by inline, at a cost that hardly grows with the neighbourhood.
///
/// The smoothed products of a CDP do not depend on the position that sums them, so they are formed once. A sum of
/// floats in double is exact, and so free of order, while the magnitudes of its terms add up to no more than 2^53 times
/// the last bit of the smallest of them that is not zero. Where that holds for a block of samples, the sums
/// over inlines are kept per crossline and slid from inline to inline, and the sums over crosslines are slid from
/// position to position. Where it does not, the block is added up neighbour by neighbour.
class NeighbourhoodSums {
 public:
  /// Makes the arrays for a tile of crosslines.
  /// @param tileBytes  set aside for them; a large neighbourhood takes more, to make up for the tile's halo
  explicit NeighbourhoodSums(const Parameters& parameters, std::size_t tileBytes = std::size_t{64} << 20);
  ~NeighbourhoodSums();

  /// Calls `visit` for every position of the sector's grid, from several threads at a time, and between, from the
  /// calling thread, `done` with the number of positions visited so far.
  void sweep(const Stores& stores, int sector, const std::function<void(const NeighbourhoodTotals&)>& visit,
             const std::function<void(int)>& done);

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace korvane
