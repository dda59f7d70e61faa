#include "standalone/fbx/surface_reader.h"

#include <algorithm>
#include <cmath>

#include "standalone/fbx/array_reader.h"
#include "standalone/fbx/mesh_reader.h"

namespace mirel::fbx {
namespace {

using fbxsdk::FbxLayerElement;
using fbxsdk::FbxNodeAttribute;
using fbxsdk::FbxVector2;
using fbxsdk::FbxVector4;

constexpr int kHighestOrder = 16;
constexpr int kMostSteps = 64;
// What a sample takes, with two triangles and what making them takes.
constexpr std::size_t kBytesPerSample = 256;

SurfaceForm form_of(std::string_view name) {
  if (name == "Periodic") return SurfaceForm::kPeriodic;
  return name == "Closed" ? SurfaceForm::kClosed : SurfaceForm::kOpen;
}

int whole(double value, int low, int high) {
  return std::isfinite(value) ? static_cast<int>(std::clamp(value, static_cast<double>(low), static_cast<double>(high)))
                              : low;
}

void read_pair(Element const* element, int low, int high, int& u, int& v) {
  double numbers[2];
  if (read_few(element, 0, numbers, 2) != 2) return;
  u = whole(numbers[0], low, high);
  v = whole(numbers[1], low, high);
}

// Values in four numbers each.
void read_weighted_points(Document const& document, Element const& geometry, std::vector<FbxVector4>& points) {
  Array<double> numbers;
  read_array(document.tree(), geometry.child("Points"), numbers);
  document.tree().budget.take(numbers.size() / 4 * sizeof(FbxVector4));
  points.reserve(numbers.size() / 4);
  for (std::size_t k = 0; k + 4 <= numbers.size(); k += 4) {
    points.emplace_back(numbers[k], numbers[k + 1], numbers[k + 2], numbers[k + 3]);
  }
}

void read_knots(Document const& document, Element const* element, std::vector<double>& knots) {
  Array<double> numbers;
  read_array(document.tree(), element, numbers);
  document.tree().budget.take(numbers.size() * sizeof(double));
  knots.assign(numbers.begin(), numbers.end());
}

// Knots never fall, and there are as many as the points and the order need.
bool fits(SurfaceAxis const& axis) {
  if (axis.order < 2 || axis.order > kHighestOrder || axis.count < 2) return false;
  int const points = axis.count + (axis.form == SurfaceForm::kPeriodic ? axis.order - 1 : 0);
  if (points < axis.order) return false;
  if (axis.knots.size() < static_cast<std::size_t>(points + axis.order)) return false;
  for (std::size_t k = 0; k < axis.knots.size(); ++k) {
    if (!std::isfinite(axis.knots[k]) || (k > 0 && axis.knots[k] < axis.knots[k - 1])) return false;
  }
  return true;
}

// Evenly spread knots, as patches and surfaces without knots have them: those of a bezier patch repeat at every joint.
void set_knots(SurfaceAxis& axis, bool bezier) {
  int const degree = axis.order - 1;
  int const points = axis.count + (axis.form == SurfaceForm::kPeriodic ? degree : 0);
  axis.knots.clear();
  if (axis.form == SurfaceForm::kPeriodic) {
    for (int k = 0; k < points + axis.order; ++k) axis.knots.push_back(k - degree);
    return;
  }
  int const inner = points - axis.order;
  for (int k = 0; k < axis.order; ++k) axis.knots.push_back(0);
  for (int k = 0; k < inner; ++k) axis.knots.push_back(bezier ? 1 + k / degree : 1 + k);
  double const last = bezier ? 1 + (inner + degree - 1) / degree : 1 + inner;
  for (int k = 0; k < axis.order; ++k) axis.knots.push_back(last);
}

// Where an axis is sampled.
struct Sample {
  // First of the points that count here, and the weight of each of them.
  int first = 0;
  double weights[kHighestOrder];
  // 0 to 1 over the whole axis.
  double place = 0;
};

// Basis functions of the span that holds the parameter (de Boor).
void find_weights(SurfaceAxis const& axis, int span, double parameter, Sample& sample) {
  int const degree = axis.order - 1;
  double left[kHighestOrder];
  double right[kHighestOrder];
  auto const knot = [&](int k) { return axis.knots[static_cast<std::size_t>(k)]; };
  sample.first = span - degree;
  sample.weights[0] = 1;
  for (int j = 1; j <= degree; ++j) {
    left[j] = parameter - knot(span + 1 - j);
    right[j] = knot(span + j) - parameter;
    double carried = 0;
    for (int r = 0; r < j; ++r) {
      double const width = right[r + 1] + left[j - r];
      double const part = width == 0 ? 0 : sample.weights[r] / width;
      sample.weights[r] = carried + right[r + 1] * part;
      carried = left[j - r] * part;
    }
    sample.weights[j] = carried;
  }
}

// No fewer than sample_axis gives.
std::size_t count_samples(SurfaceAxis const& axis, int step) {
  return axis.knots.size() * static_cast<std::size_t>(step) + 1;
}

// Every span that is not empty, in `step` pieces, and the end.
std::vector<Sample> sample_axis(SurfaceAxis const& axis, int step) {
  int const degree = axis.order - 1;
  int const points = axis.count + (axis.form == SurfaceForm::kPeriodic ? degree : 0);
  auto const knot = [&](int k) { return axis.knots[static_cast<std::size_t>(k)]; };
  double const begin = knot(degree);
  double const end = knot(points);
  std::vector<Sample> samples;
  if (!(end > begin)) return samples;
  samples.reserve(count_samples(axis, step));
  int last_span = degree;
  for (int span = degree; span < points; ++span) {
    if (!(knot(span + 1) > knot(span))) continue;
    last_span = span;
    for (int k = 0; k < step; ++k) {
      double const parameter = knot(span) + (knot(span + 1) - knot(span)) * k / step;
      Sample& sample = samples.emplace_back();
      find_weights(axis, span, parameter, sample);
      sample.place = (parameter - begin) / (end - begin);
    }
  }
  Sample& sample = samples.emplace_back();
  find_weights(axis, last_span, end, sample);
  sample.place = 1;
  return samples;
}

FbxVector4 evaluate(Surface const& surface, Sample const& u, Sample const& v) {
  double sum[4] = {0, 0, 0, 0};
  for (int j = 0; j < surface.v.order; ++j) {
    std::size_t const row = static_cast<std::size_t>((v.first + j) % surface.v.count);
    for (int i = 0; i < surface.u.order; ++i) {
      std::size_t const column = static_cast<std::size_t>((u.first + i) % surface.u.count);
      FbxVector4 const& point = surface.points[row * static_cast<std::size_t>(surface.u.count) + column];
      double const weight = u.weights[i] * v.weights[j] * point[3];
      for (int k = 0; k < 3; ++k) sum[k] += weight * point[k];
      sum[3] += weight;
    }
  }
  double const scale = sum[3] != 0 ? 1 / sum[3] : 1;
  return {sum[0] * scale, sum[1] * scale, sum[2] * scale, 1.0};
}

// Sums of the quads' normals around each sample; where an axis closes, both ends count.
void add_normals(std::size_t columns, std::size_t rows, bool joins_u, bool joins_v, Array<FbxVector4> const& points,
                 Array<FbxVector4>& normals) {
  std::fill(normals.begin(), normals.end(), FbxVector4(0, 0, 0, 0));
  auto const at = [&](std::size_t column, std::size_t row) { return row * columns + column; };
  for (std::size_t row = 0; row + 1 < rows; ++row) {
    for (std::size_t column = 0; column + 1 < columns; ++column) {
      std::size_t const corners[4] = {at(column, row), at(column + 1, row), at(column + 1, row + 1),
                                      at(column, row + 1)};
      double a[3];
      double b[3];
      for (int k = 0; k < 3; ++k) {
        a[k] = points[corners[2]][k] - points[corners[0]][k];
        b[k] = points[corners[3]][k] - points[corners[1]][k];
      }
      for (int k = 0; k < 3; ++k) {
        double const part = a[(k + 1) % 3] * b[(k + 2) % 3] - a[(k + 2) % 3] * b[(k + 1) % 3];
        for (std::size_t const corner : corners) normals[corner][k] += part;
      }
    }
  }
  auto const join = [&](std::size_t first, std::size_t last) {
    for (int k = 0; k < 3; ++k) {
      double const sum = normals[first][k] + normals[last][k];
      normals[first][k] = sum;
      normals[last][k] = sum;
    }
  };
  for (std::size_t row = 0; joins_u && row < rows; ++row) join(at(0, row), at(columns - 1, row));
  for (std::size_t column = 0; joins_v && column < columns; ++column) join(at(column, 0), at(column, rows - 1));
  for (FbxVector4& normal : normals) {
    double const length = std::sqrt(normal[0] * normal[0] + normal[1] * normal[1] + normal[2] * normal[2]);
    for (int k = 0; length > 0 && k < 3; ++k) normal[k] /= length;
    normal[3] = 1;
  }
}

}  // namespace

Surface read_surface(Document const& document, Element const& geometry, FbxNodeAttribute::EType type) {
  Surface surface;
  bool const is_patch = type == FbxNodeAttribute::ePatch;
  read_pair(geometry.child("Dimensions"), 0, 1 << 24, surface.u.count, surface.v.count);
  read_pair(geometry.child("Step"), 1, kMostSteps, surface.u.step, surface.v.step);
  read_layers(document, geometry, surface.layers);
  read_weighted_points(document, geometry, surface.points);
  // Before anything is made to fit counts that nothing stands behind.
  if (surface.points.size() / static_cast<std::size_t>(std::max(1, surface.u.count)) <
      static_cast<std::size_t>(surface.v.count)) {
    surface.points.clear();
    return surface;
  }
  // Knots that the file does not give.
  document.tree().budget.take(static_cast<std::size_t>(surface.u.count + surface.v.count) * 3 * sizeof(double));
  double flip = 0;
  if (read_few(geometry.child("FlipNormals"), 0, &flip, 1) == 1) surface.flip = flip != 0;
  if (is_patch) {
    // "Bezier", "BezierQuadric", "BSpline", "Linear" in each direction; cardinal splines are taken as B-splines.
    Element const* const kinds =
        geometry.child("PatchType") != nullptr ? geometry.child("PatchType") : geometry.child("Type");
    double closed[2] = {0, 0};
    read_few(geometry.child("CloseU"), 0, &closed[0], 1);
    read_few(geometry.child("CloseV"), 0, &closed[1], 1);
    std::size_t direction = 0;
    for (SurfaceAxis* const axis : {&surface.u, &surface.v}) {
      std::string_view const kind = raw_text(kinds, direction);
      axis->order = kind == "Linear" ? 2 : kind == "BezierQuadric" ? 3 : 4;
      axis->form = closed[direction] != 0 ? SurfaceForm::kPeriodic : SurfaceForm::kOpen;
      axis->order = std::min(axis->order, std::max(2, axis->count));
      set_knots(*axis, kind.substr(0, 6) == "Bezier" && axis->form == SurfaceForm::kOpen);
      ++direction;
    }
  } else {
    Element const* order = geometry.child("NurbsSurfaceOrder");
    if (order == nullptr) order = geometry.child("NurbOrder");
    read_pair(order, 0, kHighestOrder + 1, surface.u.order, surface.v.order);
    surface.u.form = form_of(raw_text(geometry.child("Form"), 0));
    surface.v.form = form_of(raw_text(geometry.child("Form"), 1));
    read_knots(document, geometry.child("KnotVectorU"), surface.u.knots);
    read_knots(document, geometry.child("KnotVectorV"), surface.v.knots);
    for (SurfaceAxis* const axis : {&surface.u, &surface.v}) {
      if (axis->knots.empty() && axis->order >= 2 && axis->order <= kHighestOrder && axis->count <= 1 << 16) {
        set_knots(*axis, false);
      }
    }
  }
  if (!fits(surface.u) || !fits(surface.v)) surface.points.clear();
  return surface;
}

bool tessellate(Surface const& surface, MemoryBudget& budget, MeshData& mesh) {
  if (surface.points.empty()) return false;
  int steps[2] = {surface.u.step, surface.v.step};
  // A surface may take half of what is left, so that one of many steps gets coarser before others are lost.
  std::size_t const most = budget.left() / 2 / kBytesPerSample;
  while (count_samples(surface.u, steps[0]) * count_samples(surface.v, steps[1]) > most &&
         (steps[0] > 1 || steps[1] > 1)) {
    for (int& step : steps) step = std::max(1, step / 2);
  }
  if (count_samples(surface.u, steps[0]) * count_samples(surface.v, steps[1]) > most) return false;
  std::size_t const sample_bytes =
      (count_samples(surface.u, steps[0]) + count_samples(surface.v, steps[1])) * sizeof(Sample);
  budget.take(sample_bytes);
  std::vector<Sample> const us = sample_axis(surface.u, steps[0]);
  std::vector<Sample> const vs = sample_axis(surface.v, steps[1]);
  if (us.size() < 2 || vs.size() < 2) return false;
  std::size_t const columns = us.size();
  std::size_t const rows = vs.size();
  mesh = MeshData();
  MeshLayer& layer = mesh.layers.emplace_back();
  layer.normals = std::make_unique<NormalAttribute>();
  layer.normals->mapping = FbxLayerElement::eByControlPoint;
  UvAttribute& uvs = layer.uvs.emplace_back();
  uvs.mapping = FbxLayerElement::eByControlPoint;
  std::size_t const quads = (columns - 1) * (rows - 1);
  budget.take(columns * rows * (2 * sizeof(FbxVector4) + sizeof(FbxVector2)) + quads * 5 * sizeof(int));
  if (!mesh.points.allocate(columns * rows) || !layer.normals->values.allocate(columns * rows) ||
      !uvs.values.allocate(columns * rows) || !mesh.corners.allocate(quads * 4) || !mesh.starts.allocate(quads + 1)) {
    return false;
  }
  for (std::size_t row = 0; row < rows; ++row) {
    for (std::size_t column = 0; column < columns; ++column) {
      std::size_t const place = row * columns + column;
      mesh.points[place] = evaluate(surface, us[column], vs[row]);
      uvs.values[place] = FbxVector2(us[column].place, vs[row].place);
    }
  }
  add_normals(columns, rows, surface.u.form != SurfaceForm::kOpen, surface.v.form != SurfaceForm::kOpen, mesh.points,
              layer.normals->values);
  std::size_t place = 0;
  for (std::size_t row = 0; row + 1 < rows; ++row) {
    for (std::size_t column = 0; column + 1 < columns; ++column) {
      int const corner = static_cast<int>(row * columns + column);
      int const above = corner + static_cast<int>(columns);
      int const quad[4] = {corner, surface.flip ? above : corner + 1, above + 1, surface.flip ? corner + 1 : above};
      mesh.starts[place / 4] = static_cast<int>(place);
      for (int const point : quad) mesh.corners[place++] = point;
    }
  }
  mesh.starts[quads] = static_cast<int>(place);
  if (surface.flip) {
    for (FbxVector4& normal : layer.normals->values) normal = FbxVector4(-normal[0], -normal[1], -normal[2]);
  }
  // A surface has one material.
  if (!surface.layers.layers.empty() && surface.layers.layers.front().materials != nullptr &&
      !surface.layers.layers.front().materials->indices.empty()) {
    layer.materials = std::make_unique<MaterialAttribute>();
    layer.materials->mapping = FbxLayerElement::eAllSame;
    layer.materials->reference = FbxLayerElement::eIndexToDirect;
    if (!layer.materials->indices.allocate(1)) return false;
    layer.materials->indices[0] = surface.layers.layers.front().materials->indices[0];
  }
  budget.give_back(sample_bytes);
  return true;
}

}  // namespace mirel::fbx
