#include "host/local/position_interpolator.h"

#include <CGAL/Delaunay_triangulation_2.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Triangulation_face_base_with_info_2.h>
#include <CGAL/Triangulation_vertex_base_with_info_2.h>

#include <algorithm>
#include <limits>
#include <sstream>
#include <utility>
#include <vector>

#include "host/local/job.h"

namespace host::local {

namespace {

/// A triangle is flat when its height is at most this many length units and this part of its base: two ends and a
/// middle that are each rounded to whole units are less than 1.5 units off their line.
constexpr double flatHeight = 1.5;
constexpr double flatPart = 0.1;

/// Where a triangle lies. One that was taken off the hull keeps the index of its base, the edge it was taken off by.
struct Place {
  bool outside = false;
  int base = -1;
};

using Kernel = CGAL::Exact_predicates_inexact_constructions_kernel;
using Corner = CGAL::Triangulation_vertex_base_with_info_2<int, Kernel>;  // number of the function, ascending in X
using Face = CGAL::Triangulation_face_base_with_info_2<Place, Kernel>;
using Mesh = CGAL::Delaunay_triangulation_2<Kernel, CGAL::Triangulation_data_structure_2<Corner, Face>>;

Position inHeaderPrecision(Position p) { return {static_cast<float>(p.x), static_cast<float>(p.y)}; }

struct Vector {
  double x, y;
};
Vector operator-(Position a, Position b) { return {a.x - b.x, a.y - b.y}; }
double dot(Vector a, Vector b) { return a.x * b.x + a.y * b.y; }
double cross(Vector a, Vector b) { return a.x * b.y - a.y * b.x; }

/// Whether c lies over the edge from a to b, and so near to it that it may well stand on it.
bool flat(Position a, Position b, Position c) {
  const Vector base = b - a, side = c - a;
  const double length2 = dot(base, base), along = dot(side, base);
  if (along <= 0.0 || along >= length2) return false;
  const double doubleArea = cross(base, side);
  const double height2 = doubleArea * doubleArea / length2;
  return height2 <= std::min(flatHeight * flatHeight, flatPart * flatPart * length2);
}

}  // namespace

class PositionInterpolator::Impl {
  using Entry = std::map<float, Table::Function>::value_type;

 public:
  explicit Impl(const std::map<float, Table::Function>& functions) {
    // One by one: neighbours in X are mostly neighbours on the map, so each insertion starts next to its place.
    Mesh::Face_handle near;
    for (const Entry& entry : functions) {
      const Position p = inHeaderPrecision(*entry.second.position);
      const Mesh::Vertex_handle vertex = mesh_.insert(Mesh::Point(p.x, p.y), near);
      near = vertex->face();
      if (mesh_.number_of_vertices() == entries_.size()) {
        refuseUnlessEqual(*entries_[static_cast<std::size_t>(vertex->info())], entry);
        continue;
      }
      vertex->info() = static_cast<int>(entries_.size());
      entries_.push_back(&entry);
      positions_.push_back(p);
    }
    takeOffFlatTriangles();
    collectRim();
  }

  Blend at(Position place) {
    const Position p = inHeaderPrecision(place);
    if (mesh_.dimension() < 2) return nearest(p);
    Mesh::Locate_type where;
    int index = 0;
    const Mesh::Face_handle face = mesh_.locate(Mesh::Point(p.x, p.y), where, index, last_);
    last_ = face;
    switch (where) {
      case Mesh::VERTEX:
        return only(face->vertex(index)->info());
      case Mesh::EDGE:
        if (face->info().outside && face->neighbor(index)->info().outside) return nearest(p);
        return along(edge(face, index), p);
      case Mesh::FACE:
        if (face->info().outside) return nearest(p);
        return inside(face, p);
      default:
        return nearest(p);
    }
  }

 private:
  /// The straight way between two functions, a the lower in X.
  struct Edge {
    int a, b;
    bool operator<(const Edge& other) const { return std::pair(a, b) < std::pair(other.a, other.b); }
  };

  /// Two functions at one position are harmless when they say the same; then the first stands for both.
  static void refuseUnlessEqual(const Entry& first, const Entry& second) {
    if (first.second.y == second.second.y && first.second.z == second.second.z) return;
    std::ostringstream text;
    text.precision(9);
    text << "the functions at " << first.first << " and " << second.first << " differ but stand at one map position ("
         << first.second.position->x << ", " << first.second.position->y << "); correct or remove one of them";
    throw RunError(text.str());
  }

  static Edge edge(Mesh::Face_handle face, int index) {
    const auto [a, b] = std::minmax({face->vertex(Mesh::ccw(index))->info(), face->vertex(Mesh::cw(index))->info()});
    return {a, b};
  }

  Position position(Mesh::Vertex_handle vertex) const { return positions_[static_cast<std::size_t>(vertex->info())]; }
  Position position(int number) const { return positions_[static_cast<std::size_t>(number)]; }
  const Table::Function* function(int number) const { return &entries_[static_cast<std::size_t>(number)]->second; }

  /// From the hull inwards, as long as the triangle behind an outer edge is flat over it.
  void takeOffFlatTriangles() {
    if (mesh_.dimension() < 2) return;
    std::vector<std::pair<Mesh::Face_handle, int>> outer;
    for (const Mesh::Face_handle face : mesh_.all_face_handles()) {
      if (!mesh_.is_infinite(face)) continue;
      face->info().outside = true;
      outer.emplace_back(face, face->index(mesh_.infinite_vertex()));
    }
    while (!outer.empty()) {
      const auto [face, index] = outer.back();
      outer.pop_back();
      const Mesh::Face_handle behind = face->neighbor(index);
      const int base = mesh_.mirror_index(face, index);
      if (behind->info().outside) continue;
      if (!flat(position(behind->vertex(Mesh::ccw(base))), position(behind->vertex(Mesh::cw(base))),
                position(behind->vertex(base))))
        continue;
      behind->info() = {.outside = true, .base = base};
      outer.emplace_back(behind, Mesh::ccw(base));
      outer.emplace_back(behind, Mesh::cw(base));
    }
  }

  /// The edges that a place outside can be nearest to, ascending: every edge with an outside, but the bases.
  void collectRim() {
    for (const Mesh::Edge& side : mesh_.finite_edges()) {
      if (mesh_.dimension() == 2) {
        const auto [face, index] = side;
        const Mesh::Face_handle other = face->neighbor(index);
        if (!face->info().outside && !other->info().outside) continue;
        if (face->info().base == index || other->info().base == mesh_.mirror_index(face, index)) continue;
      }
      rim_.push_back(edge(side.first, side.second));
    }
    std::sort(rim_.begin(), rim_.end());
  }

  Blend only(int number) const { return {.count = 1, .function = {function(number)}}; }

  /// How far p lies along the edge, as part of its length, from 0 to 1.
  double part(const Edge& e, Position p) const {
    const Vector way = position(e.b) - position(e.a);
    return std::clamp(dot(p - position(e.a), way) / dot(way, way), 0.0, 1.0);
  }

  Blend along(const Edge& e, Position p) const {
    const double weight = part(e, p);
    if (weight == 0.0) return only(e.a);
    if (weight == 1.0) return only(e.b);
    return {.count = 2, .function = {function(e.a), function(e.b)}, .weight = {1.0 - weight, weight}};
  }

  Blend inside(Mesh::Face_handle face, Position p) const {
    std::array<int, 3> corner{face->vertex(0)->info(), face->vertex(1)->info(), face->vertex(2)->info()};
    std::sort(corner.begin(), corner.end());
    const Position origin = position(corner[0]);
    const Vector u = position(corner[1]) - origin, v = position(corner[2]) - origin, w = p - origin;
    const double area = cross(u, v), second = cross(w, v) / area, third = cross(u, w) / area;
    return {.count = 3,
            .function = {function(corner[0]), function(corner[1]), function(corner[2])},
            .weight = {1.0 - second - third, second, third}};
  }

  Blend nearest(Position p) const {
    if (rim_.empty()) return only(0);
    const Edge* best = nullptr;
    double least = std::numeric_limits<double>::infinity();
    for (const Edge& e : rim_) {
      const double weight = part(e, p);
      const Position a = position(e.a);
      const Vector way = position(e.b) - a, side = p - a;
      const Vector off = {side.x - weight * way.x, side.y - weight * way.y};
      const double distance2 = dot(off, off);
      if (distance2 >= least) continue;
      least = distance2;
      best = &e;
    }
    return along(*best, p);
  }

  Mesh mesh_;
  std::vector<const Entry*> entries_;  ///< by number: X and function
  std::vector<Position> positions_;    ///< by number, in header precision
  std::vector<Edge> rim_;
  Mesh::Face_handle last_;
};

PositionInterpolator::PositionInterpolator(const std::map<float, Table::Function>& functions)
    : impl_(std::make_unique<Impl>(functions)) {}

PositionInterpolator::~PositionInterpolator() = default;

Blend PositionInterpolator::at(Position place) const { return impl_->at(place); }

}  // namespace host::local
