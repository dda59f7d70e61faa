// What an FBX file holds, as the importer walks it: fbx_report FILE prints one JSON object. A file that cannot be read
// gives {"error": ...} and exit status 1. It knows the library only through its public classes.
#include <fbxsdk.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace fbxsdk;
using Matrix = std::array<double, 16>;

std::string quoted(char const* text) {
  std::string result = "\"";
  for (; *text != '\0'; ++text) {
    auto const c = static_cast<unsigned char>(*text);
    char code[8];
    if (c == '"' || c == '\\' || c < 0x20) {
      std::snprintf(code, sizeof code, "\\u%04x", static_cast<unsigned>(c));
      result += code;
    } else {
      result += *text;
    }
  }
  return result + '"';
}

std::string number(double value) {
  char text[32] = "null";
  if (std::isfinite(value)) std::snprintf(text, sizeof text, "%.12g", value);
  return text;
}

template <class List, class Text>
std::string listed(List const& list, Text const& text) {
  std::string result = "[";
  for (auto const& item : list) {
    if (result.size() > 1) result += ',';
    result += text(item);
  }
  return result + ']';
}

template <class List>
std::string numbers(List const& list) {
  return listed(list, [](auto value) { return number(static_cast<double>(value)); });
}

struct Box {
  double low[3] = {1e300, 1e300, 1e300};
  double high[3] = {-1e300, -1e300, -1e300};
  void add(int axis, double value) {
    low[axis] = std::min(low[axis], value);
    high[axis] = std::max(high[axis], value);
  }
  std::vector<double> numbers(int axes) const {
    std::vector<double> all(low, low + axes);
    all.insert(all.end(), high, high + axes);
    return all;
  }
};

double weight(int point) {
  return static_cast<double>((static_cast<long long>(point) * 7919) % 1009 + 1) / 1009;
}

Matrix multiply(Matrix const& first, Matrix const& second) {
  Matrix product = {};
  for (std::size_t row = 0; row < 4; ++row) {
    for (std::size_t column = 0; column < 4; ++column) {
      for (std::size_t k = 0; k < 4; ++k) product[row * 4 + column] += first[row * 4 + k] * second[k * 4 + column];
    }
  }
  return product;
}

Matrix geometric_matrix(std::array<double, 9> const& g) {
  Matrix matrix = {g[6], 0, 0, 0, 0, g[7], 0, 0, 0, 0, g[8], 0, 0, 0, 0, 1};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    double const angle = g[3 + axis] * 3.14159265358979323846 / 180;
    std::size_t const i = (axis + 1) % 3;
    std::size_t const j = (axis + 2) % 3;
    Matrix turn = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    turn[i * 4 + i] = turn[j * 4 + j] = std::cos(angle);
    turn[i * 4 + j] = std::sin(angle);
    turn[j * 4 + i] = -std::sin(angle);
    matrix = multiply(matrix, turn);
  }
  for (std::size_t k = 0; k < 3; ++k) matrix[12 + k] = g[k];
  return matrix;
}

using Point = std::array<double, 3>;

Point moved(Point const& p, Matrix const& m) {
  Point q;
  for (std::size_t k = 0; k < 3; ++k) q[k] = p[0] * m[k] + p[1] * m[4 + k] + p[2] * m[8 + k] + m[12 + k];
  return q;
}

Point cross(Point const& a, Point const& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
Point minus(Point const& a, Point const& b) {
  return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}
double dot(Point const& a, Point const& b) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

char const* mapping_name(FbxLayerElement::EMappingMode mode) {
  static char const* const kNames[] = {"None", "ByControlPoint", "ByPolygonVertex", "ByPolygon", "ByEdge", "AllSame"};
  return kNames[mode];
}
char const* reference_name(FbxLayerElement::EReferenceMode mode) {
  static char const* const kNames[] = {"Direct", "Index", "IndexToDirect"};
  return kNames[mode];
}

int unit_code(FbxSystemUnit const& unit) {
  FbxSystemUnit const* const known[] = {&FbxSystemUnit::Inch, &FbxSystemUnit::Foot, &FbxSystemUnit::mm,
                                        &FbxSystemUnit::cm, &FbxSystemUnit::m};
  for (int k = 0; k < 5; ++k) {
    if (*known[k] == unit) return k;
  }
  return -1;
}

// The distinct pairs of a point and the value it has at a corner.
template <std::size_t N>
using Pairs = std::set<std::pair<int, std::array<float, N>>>;

template <std::size_t N>
std::string summary(Pairs<N> const& pairs) {
  Box box;
  double sums[4] = {0, 0, 0, 0};
  for (auto const& [point, value] : pairs) {
    double all = 0;
    for (std::size_t k = 0; k < N; ++k) {
      double const v = static_cast<double>(value[k]);
      box.add(static_cast<int>(k), v);
      sums[k] += static_cast<double>(k + 1) * weight(point) * v;
      all += std::abs(v);
    }
    sums[N] += weight(point) * all;
  }
  std::string text = ",\"pairs\":" + std::to_string(pairs.size());
  if (pairs.empty()) return text;
  return text + ",\"box\":" + numbers(box.numbers(N)) + ",\"sum\":" + numbers(std::vector<double>(sums, sums + N + 1));
}

// Values of an element at the corners of triangles, as the importer takes them; returns how many triangles have some.
template <std::size_t N, class Element>
std::size_t gather(FbxMesh* mesh, Element const& element, bool is_normal, Pairs<N>& pairs) {
  auto const& direct = element.GetDirectArray();
  auto const& indices = element.GetIndexArray();
  auto const mapping = element.GetMappingMode();
  auto const reference = element.GetReferenceMode();
  std::size_t triangles = 0;
  for (int p = 0; p < mesh->GetPolygonCount(); ++p) {
    if (mesh->GetPolygonSize(p) != 3) continue;
    std::array<std::pair<int, std::array<float, N>>, 3> corners;
    bool complete = true;
    for (int k = 0; k < 3; ++k) {
      int const point = mesh->GetPolygonVertex(p, k);
      int place = -1;
      if (mapping == FbxLayerElement::eByControlPoint) {
        if (reference == FbxLayerElement::eDirect && direct.GetCount() == mesh->GetControlPointsCount()) place = point;
        if (reference == FbxLayerElement::eIndexToDirect) place = indices.GetAt(point);
      } else if (mapping == FbxLayerElement::eByPolygonVertex && reference != FbxLayerElement::eIndex) {
        place = 3 * p + k;
        if (reference == FbxLayerElement::eIndexToDirect) {
          place = is_normal ? indices.GetAt(place) : mesh->GetTextureUVIndex(p, k);
        }
      }
      complete = complete && place >= 0 && place < direct.GetCount();
      if (!complete) break;
      auto const value = direct.GetAt(place);
      corners[static_cast<std::size_t>(k)].first = point;
      for (std::size_t i = 0; i < N; ++i) {
        corners[static_cast<std::size_t>(k)].second[i] = static_cast<float>(value[static_cast<int>(i)]);
      }
      if (is_normal && mapping == FbxLayerElement::eByPolygonVertex) {
        FbxVector4 normal;
        if (!mesh->GetPolygonVertexNormal(p, k, normal) || normal[0] != value[0] || normal[2] != value[2 % N]) {
          std::fprintf(stderr, "GetPolygonVertexNormal and the arrays differ\n");
          std::exit(2);
        }
      }
    }
    if (!complete) continue;
    ++triangles;
    pairs.insert(corners.begin(), corners.end());
  }
  return triangles;
}

template <class Element>
std::string element_head(Element const& element) {
  return std::string("\"map\":\"") + mapping_name(element.GetMappingMode()) + "\",\"ref\":\"" +
         reference_name(element.GetReferenceMode()) + "\"";
}

class Report {
 public:
  explicit Report(FbxManager* manager) : converter_(manager) {}

  std::string text(FbxScene* scene, int version) {
    int sign = 0;
    FbxAxisSystem const axes = scene->GetGlobalSettings().GetAxisSystem();
    int const up = static_cast<int>(axes.GetUpVector(sign)) * sign;
    std::string head = "{\"version\":" + std::to_string(version) + ",\"up\":" + std::to_string(up);
    head += ",\"unit_scale\":" + number(scene->GetGlobalSettings().GetSystemUnit().GetScaleFactor());
    FbxAxisSystem::MayaZUp.ConvertScene(scene);
    head += ",\"unit_code\":" + std::to_string(unit_code(scene->GetGlobalSettings().GetSystemUnit()));
    head += ",\"node_count\":" + std::to_string(scene->GetNodeCount());
    Matrix const identity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    for (int k = 0; k < scene->GetRootNode()->GetChildCount(false); ++k) {
      add_node(scene->GetRootNode()->GetChild(k), -1, identity);
    }
    auto const same = [](std::string const& one) { return one; };
    return head + ",\"nodes\":" + listed(nodes_, same) + ",\"meshes\":" + listed(meshes_, same) +
           ",\"instances\":" + listed(instances_, same) + ",\"materials\":" + listed(materials_, same) + "}";
  }

 private:
  static char const* kind_of(FbxNodeAttribute::EType type) {
    switch (type) {
      case FbxNodeAttribute::eNull:
        return "null";
      case FbxNodeAttribute::eMarker:
        return "marker";
      case FbxNodeAttribute::eSkeleton:
        return "bone";
      case FbxNodeAttribute::eMesh:
        return "mesh";
      case FbxNodeAttribute::eNurbs:
        return "nurbs";
      case FbxNodeAttribute::ePatch:
        return "patch";
      case FbxNodeAttribute::eCamera:
        return "camera";
      case FbxNodeAttribute::eLight:
        return "light";
      case FbxNodeAttribute::eNurbsSurface:
        return "nurbs_surface";
      case FbxNodeAttribute::eLODGroup:
        return "lod_group";
      default:
        return "other";
    }
  }

  std::size_t material_number(FbxSurfaceMaterial* material) {
    auto const [place, is_new] = material_numbers_.emplace(material, materials_.size());
    if (!is_new) return place->second;
    FbxProperty const diffuse = material->FindProperty(FbxSurfaceMaterial::sDiffuse, true);
    std::string text = "{\"name\":" + quoted(material->GetName());
    char const* model = "unknown";
    FbxDouble3 color;
    if (FbxSurfaceLambert* const lambert = FbxCast<FbxSurfaceLambert>(material)) {
      model = material->Is<FbxSurfacePhong>() ? "phong" : "lambert";
      color = lambert->Diffuse.Get();
    } else if (diffuse.IsValid() && diffuse.GetPropertyDataType().GetType() == eFbxDouble3) {
      color = diffuse.Get<FbxDouble3>();
    }
    text += std::string(",\"model\":\"") + model + "\",\"diffuse\":" + numbers(color.mData);
    std::vector<int> bytes;
    for (double const part : color.mData) bytes.push_back(static_cast<int>(part * 255.0));
    text += ",\"rgb\":" + numbers(bytes);
    FbxTexture* const texture = diffuse.GetSrcObject<FbxTexture>(0);
    char const* kind = "none";
    if (FbxFileTexture* const file = FbxCast<FbxFileTexture>(texture)) {
      kind = "file";
      text += ",\"tex\":" + quoted(file->GetFileName()) + ",\"uvs\":[" + number(file->GetScaleU()) + "," +
              number(file->GetScaleV()) + "]";
    } else if (FbxCast<FbxLayeredTexture>(texture) != nullptr) {
      kind = "layered";
    } else if (FbxCast<FbxProceduralTexture>(texture) != nullptr) {
      kind = "procedural";
    }
    bool const hlsl = GetImplementation(material, FBXSDK_IMPLEMENTATION_HLSL) != nullptr;
    text += std::string(",\"hlsl\":") + (hlsl ? "true" : "false");
    materials_.push_back(text + ",\"tex_kind\":\"" + kind + "\"}");
    return place->second;
  }

  void add_node(FbxNode* node, int parent, Matrix const& parent_world) {
    int const index = static_cast<int>(nodes_.size());
    FbxAMatrix const& local = node->EvaluateLocalTransform(FbxTime(0x7FFFFFFFFFFFFFFFLL), FbxNode::eSourcePivot);
    Matrix m;
    for (int k = 0; k < 16; ++k) m[static_cast<std::size_t>(k)] = local.Get(k / 4, k % 4);
    std::vector<FbxSurfaceMaterial*> slots;
    for (int k = 0; k < node->GetMaterialCount(); ++k) slots.push_back(node->GetMaterial(k));
    std::vector<std::size_t> ids;
    for (FbxSurfaceMaterial* const slot : slots) ids.push_back(material_number(slot));
    std::array<double, 9> geometric;
    for (int k = 0; k < 3; ++k) {
      std::size_t const place = static_cast<std::size_t>(k);
      geometric[place] = node->GetGeometricTranslation(FbxNode::eSourcePivot)[k];
      geometric[place + 3] = node->GetGeometricRotation(FbxNode::eSourcePivot)[k];
      geometric[place + 6] = node->GetGeometricScaling(FbxNode::eSourcePivot)[k];
    }
    std::vector<std::string> kinds;
    for (int k = 0; k < node->GetNodeAttributeCount(); ++k) {
      kinds.push_back(quoted(kind_of(node->GetNodeAttributeByIndex(k)->GetAttributeType())));
    }
    auto const same = [](std::string const& one) { return one; };
    nodes_.push_back(
        "{\"name\":" + quoted(node->GetName()) + ",\"parent\":" + std::to_string(parent) + ",\"m\":" + numbers(m) +
        ",\"mats\":" + listed(slots, [](FbxSurfaceMaterial* slot) { return quoted(slot->GetName()); }) +
        ",\"mat_ids\":" + numbers(ids) + ",\"gt\":" + numbers(geometric) + ",\"attr\":" + listed(kinds, same) + "}");
    Matrix const world = multiply(m, parent_world);
    for (int k = 0; k < node->GetNodeAttributeCount(); ++k) {
      add_attribute(node, k, index, multiply(geometric_matrix(geometric), world));
    }
    for (int k = 0; k < node->GetChildCount(false); ++k) add_node(node->GetChild(k), index, world);
  }

  void add_attribute(FbxNode* node, int place, int index, Matrix const& world) {
    FbxNodeAttribute* const attribute = node->GetNodeAttributeByIndex(place);
    int const type = attribute->GetAttributeType();
    if (type != 4 && type != 5 && type != 6 && type != 16) return;
    // What the file stores, before it is cut.
    std::string polygons;
    int stored_uvs = 0;
    int stored_normals = 0;
    if (FbxMesh* const original = FbxCast<FbxMesh>(attribute)) {
      int largest = 0;
      for (int p = 0; p < original->GetPolygonCount(); ++p) largest = std::max(largest, original->GetPolygonSize(p));
      polygons =
          ",\"polys\":" + std::to_string(original->GetPolygonCount()) + ",\"max_poly\":" + std::to_string(largest);
      if (FbxLayer* const layer = original->GetLayer(0)) {
        if (layer->GetUVs() != nullptr) stored_uvs = layer->GetUVs()->GetDirectArray().GetCount();
        if (layer->GetNormals() != nullptr) stored_normals = layer->GetNormals()->GetDirectArray().GetCount();
      }
    }
    FbxMesh* const mesh = FbxCast<FbxMesh>(converter_.Triangulate(attribute, true, false));
    if (mesh == nullptr) return;
    if (node->GetNodeAttributeByIndex(place) != mesh) {
      std::fprintf(stderr, "The triangles did not take the attribute's place\n");
      std::exit(2);
    }
    auto const [entry, is_new] = mesh_numbers_.emplace(mesh->GetUniqueID() & 0xFFFFFFFFU, meshes_.size());
    if (is_new) meshes_.push_back(describe(mesh, node->GetMaterialCount(), polygons, stored_uvs, stored_normals));
    if (mesh->GetControlPointsCount() == 0) return;
    Box box;
    double area = 0;
    FbxVector4 const* const points = mesh->GetControlPoints();
    auto const world_point = [&](int k) { return moved({points[k][0], points[k][1], points[k][2]}, world); };
    for (int k = 0; k < mesh->GetControlPointsCount(); ++k) {
      Point const p = world_point(k);
      for (int axis = 0; axis < 3; ++axis) box.add(axis, p[static_cast<std::size_t>(axis)]);
    }
    for (int p = 0; p < mesh->GetPolygonCount(); ++p) {
      Point const a = world_point(mesh->GetPolygonVertex(p, 0));
      Point const n = cross(minus(world_point(mesh->GetPolygonVertex(p, 1)), a),
                            minus(world_point(mesh->GetPolygonVertex(p, 2)), a));
      area += std::sqrt(dot(n, n)) / 2;
    }
    instances_.push_back("{\"node\":" + std::to_string(index) + ",\"mesh\":" + std::to_string(entry->second) +
                         ",\"kind\":" + std::to_string(type) + ",\"wbox\":" + numbers(box.numbers(3)) +
                         ",\"warea\":" + number(area) + "}");
  }

  static std::string describe(FbxMesh* mesh, int slots, std::string const& polygons, int stored_uvs,
                              int stored_normals) {
    std::string text = "{\"name\":" + quoted(mesh->GetName()) +
                       ",\"verts\":" + std::to_string(mesh->GetControlPointsCount()) + polygons +
                       ",\"tris\":" + std::to_string(mesh->GetPolygonCount()) + ",\"slots\":" + std::to_string(slots);
    FbxLayer* const layer = mesh->GetLayer(0);
    FbxLayerElementMaterial* const materials = layer == nullptr ? nullptr : layer->GetMaterials();
    FbxLayerElementUV* const uvs = layer == nullptr ? nullptr : layer->GetUVs();
    FbxLayerElementNormal* const normals = layer == nullptr ? nullptr : layer->GetNormals();
    std::map<int, int> sets;
    for (int p = 0; p < mesh->GetPolygonCount(); ++p) {
      if (mesh->GetPolygonSize(p) != 3) continue;
      int set = 0;
      if (materials != nullptr) {
        bool const one = materials->GetMappingMode() == FbxLayerElement::eAllSame;
        set = materials->GetIndexArray().GetAt(one ? 0 : p);
      }
      ++sets[set];
    }
    text += ",\"sets\":{";
    for (auto const& [set, count] : sets) {
      text += (text.back() == '{' ? "\"" : ",\"") + std::to_string(set) + "\":" + std::to_string(count);
    }
    text += '}';
    if (materials != nullptr) text += std::string(",\"mat_map\":\"") + mapping_name(materials->GetMappingMode()) + '"';
    if (uvs != nullptr) {
      Pairs<2> pairs;
      std::size_t const count = slots > 0 ? gather<2>(mesh, *uvs, false, pairs) : 0;
      text += ",\"uv\":{" + element_head(*uvs) + ",\"n\":" + std::to_string(stored_uvs) +
              ",\"tris\":" + std::to_string(count) + summary<2>(pairs) + "}";
    }
    if (normals != nullptr) {
      Pairs<3> pairs;
      std::size_t const count = gather<3>(mesh, *normals, true, pairs);
      text += ",\"normal\":{" + element_head(*normals) + ",\"n\":" + std::to_string(stored_normals) +
              ",\"tris\":" + std::to_string(count) + summary<3>(pairs) + "}";
    }
    Box box;
    FbxVector4 const* const points = mesh->GetControlPoints();
    auto const point = [&](int k) { return Point{points[k][0], points[k][1], points[k][2]}; };
    for (int k = 0; k < mesh->GetControlPointsCount(); ++k) {
      for (int axis = 0; axis < 3; ++axis) box.add(axis, points[k][axis]);
    }
    Point center;
    for (std::size_t k = 0; k < 3; ++k) center[k] = (box.low[k] + box.high[k]) / 2;
    double area = 0;
    double volume = 0;
    for (int p = 0; p < mesh->GetPolygonCount(); ++p) {
      Point const a = minus(point(mesh->GetPolygonVertex(p, 0)), center);
      Point const b = minus(point(mesh->GetPolygonVertex(p, 1)), center);
      Point const c = minus(point(mesh->GetPolygonVertex(p, 2)), center);
      Point const n = cross(minus(b, a), minus(c, a));
      area += std::sqrt(dot(n, n)) / 2;
      volume += dot(a, cross(b, c)) / 6;
    }
    return text + ",\"box\":" + numbers(box.numbers(3)) + ",\"area\":" + number(area) + ",\"vol\":" + number(volume) +
           "}";
  }

  FbxGeometryConverter converter_;
  std::vector<std::string> nodes_;
  std::vector<std::string> meshes_;
  std::vector<std::string> instances_;
  std::vector<std::string> materials_;
  std::map<FbxSurfaceMaterial*, std::size_t> material_numbers_;
  std::map<FbxUInt64, std::size_t> mesh_numbers_;
};

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) {
    std::fprintf(stderr, "usage: fbx_report FILE\n");
    return 2;
  }
  FbxManager* const manager = FbxManager::Create();
  manager->SetIOSettings(FbxIOSettings::Create(manager, "IOSRoot"));
  FbxImporter* const importer = FbxImporter::Create(manager, "");
  FbxScene* const scene = FbxScene::Create(manager, "myScene");
  bool const read = importer->Initialize(arguments[1], -1, manager->GetIOSettings()) && importer->Import(scene, false);
  if (read) {
    int version[3] = {0, 0, 0};
    importer->GetFileVersion(version[0], version[1], version[2]);
    std::puts(Report(manager).text(scene, version[0] * 1000 + version[1] * 100 + version[2] * 10).c_str());
  } else {
    std::printf("{\"error\":%s}\n", quoted(importer->GetStatus().GetErrorString()).c_str());
  }
  manager->Destroy();
  return read ? 0 : 1;
}
