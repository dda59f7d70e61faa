#include "standalone/fbx/mesh_reader.h"

#include <algorithm>
#include <limits>
#include <map>
#include <set>

#include "standalone/fbx/array_reader.h"

namespace mirel::fbx {
namespace {

using fbxsdk::FbxLayerElement;

Mapping mapping_of(std::string_view name) {
  if (name == "ByPolygonVertex") return FbxLayerElement::eByPolygonVertex;
  if (name == "ByVertice" || name == "ByVertex" || name == "ByControlPoint") return FbxLayerElement::eByControlPoint;
  if (name == "ByPolygon" || name == "ByFace") return FbxLayerElement::eByPolygon;
  if (name == "ByEdge") return FbxLayerElement::eByEdge;
  if (name == "AllSame") return FbxLayerElement::eAllSame;
  return FbxLayerElement::eNone;
}

Reference reference_of(std::string_view name) {
  if (name == "IndexToDirect") return FbxLayerElement::eIndexToDirect;
  if (name == "Index") return FbxLayerElement::eIndex;
  return FbxLayerElement::eDirect;
}

// A layer's name for an element of UVs, and the channel that they are for.
FbxLayerElement::EType uv_channel(std::string_view type) {
  static constexpr struct {
    std::string_view type;
    FbxLayerElement::EType channel;
  } kChannels[] = {{"LayerElementUV", FbxLayerElement::eTextureDiffuse},
                   {"LayerElementDiffuseFactorUV", FbxLayerElement::eTextureDiffuseFactor},
                   {"LayerElementEmissiveUV", FbxLayerElement::eTextureEmissive},
                   {"LayerElementEmissiveFactorUV", FbxLayerElement::eTextureEmissiveFactor},
                   {"LayerElementAmbientUV", FbxLayerElement::eTextureAmbient},
                   {"LayerElementAmbientFactorUV", FbxLayerElement::eTextureAmbientFactor},
                   {"LayerElementSpecularUV", FbxLayerElement::eTextureSpecular},
                   {"LayerElementSpecularFactorUV", FbxLayerElement::eTextureSpecularFactor},
                   {"LayerElementShininessExponentUV", FbxLayerElement::eTextureShininess},
                   {"LayerElementNormalMapUV", FbxLayerElement::eTextureNormalMap},
                   {"LayerElementBumpUV", FbxLayerElement::eTextureBump},
                   {"LayerElementTransparentUV", FbxLayerElement::eTextureTransparency},
                   {"LayerElementTransparencyFactorUV", FbxLayerElement::eTextureTransparencyFactor},
                   {"LayerElementReflectionUV", FbxLayerElement::eTextureReflection},
                   {"LayerElementReflectionFactorUV", FbxLayerElement::eTextureReflectionFactor},
                   {"LayerElementDisplacementUV", FbxLayerElement::eTextureDisplacement}};
  for (auto const& entry : kChannels) {
    if (entry.type == type) return entry.channel;
  }
  return FbxLayerElement::eUnknown;
}

// The index that stands behind an element's name: "LayerElementUV: 1".
std::int64_t number_of(Element const& element) {
  if (element.value_count == 0 || element.values[0].kind != Value::Kind::kInteger) return 0;
  return element.values[0].integer;
}

std::int64_t number_of(Element const* element) {
  return element == nullptr ? 0 : number_of(*element);
}

// Elements of a geometry by name and number; of several the first.
using LayerElements = std::map<std::pair<std::string_view, std::int64_t>, Element const*>;

LayerElements index_layer_elements(Document const& document, Element const& geometry) {
  LayerElements elements;
  for (Element const* one = geometry.first_child; one != nullptr; one = one->next) {
    if (one->name().substr(0, 12) != "LayerElement") continue;
    document.tree().budget.take(sizeof(LayerElements::value_type) + 64);
    elements.emplace(std::pair(one->name(), number_of(*one)), one);
  }
  return elements;
}

template <class T>
void read_head(Document const& document, Element const& element, Attribute<T>& attribute) {
  attribute.mapping = mapping_of(raw_text(element.child("MappingInformationType")));
  attribute.reference = reference_of(raw_text(element.child("ReferenceInformationType")));
  Element const* const name = element.child("Name");
  if (name != nullptr && name->value_count > 0) attribute.name = document.text(name->values[0]);
}

void read_normals(Document const& document, Element const& element, NormalAttribute& normals) {
  read_head(document, element, normals);
  read_array(document.tree(), element.child("Normals"), normals.values);
  if (normals.reference == FbxLayerElement::eDirect) return;
  Element const* indices = element.child("NormalsIndex");
  read_array(document.tree(), indices == nullptr ? element.child("NormalIndex") : indices, normals.indices);
}

void read_uvs(Document const& document, Element const& element, UvAttribute& uvs) {
  read_head(document, element, uvs);
  read_array(document.tree(), element.child("UV"), uvs.values);
  if (uvs.reference != FbxLayerElement::eDirect) read_array(document.tree(), element.child("UVIndex"), uvs.indices);
}

void read_materials(Document const& document, Element const& element, MaterialAttribute& materials) {
  read_head(document, element, materials);
  read_array(document.tree(), element.child("Materials"), materials.indices);
}

void add_to_layer(Document const& document, Element const& element, MeshLayer& layer) {
  if (element.name() == "LayerElementNormal") {
    if (layer.normals != nullptr) return;
    layer.normals = std::make_unique<NormalAttribute>();
    read_normals(document, element, *layer.normals);
  } else if (element.name() == "LayerElementMaterial") {
    if (layer.materials != nullptr) return;
    layer.materials = std::make_unique<MaterialAttribute>();
    read_materials(document, element, *layer.materials);
  } else {
    FbxLayerElement::EType const channel = uv_channel(element.name());
    if (channel == FbxLayerElement::eUnknown) return;
    for (UvAttribute const& uvs : layer.uvs) {
      if (uvs.channel == channel) return;
    }
    document.tree().budget.take(3 * sizeof(UvAttribute) + sizeof(fbxsdk::FbxLayerElementUV) + 64);
    UvAttribute& uvs = layer.uvs.emplace_back();
    uvs.channel = channel;
    read_uvs(document, element, uvs);
  }
}

// A negative number is the polygon's last corner: minus one minus its point.
void read_polygons(Document const& document, Element const& geometry, MeshData& mesh) {
  read_array(document.tree(), geometry.child("PolygonVertexIndex"), mesh.corners);
  std::size_t const count = mesh.corners.size();
  if (count > static_cast<std::size_t>(std::numeric_limits<int>::max())) throw ReadError("A mesh has too many corners");
  std::size_t ends = 0;
  bool triangles = count % 3 == 0;
  for (std::size_t k = 0; k < count; ++k) {
    bool const is_end = mesh.corners[k] < 0;
    ends += is_end ? 1 : 0;
    triangles = triangles && is_end == (k % 3 == 2);
  }
  bool const open_end = count > 0 && mesh.corners[count - 1] >= 0;
  if (!triangles) {
    std::size_t const polygons = ends + (open_end ? 1 : 0);
    document.tree().budget.take((polygons + 1) * sizeof(int));
    if (!mesh.starts.allocate(polygons + 1)) throw std::bad_alloc();
    std::size_t polygon = 0;
    mesh.starts[0] = 0;
    for (std::size_t k = 0; k < count; ++k) {
      if (mesh.corners[k] < 0 || k + 1 == count) mesh.starts[++polygon] = static_cast<int>(k + 1);
    }
  }
  for (int& corner : mesh.corners) {
    if (corner < 0) corner = ~corner;
    if (static_cast<std::size_t>(corner) < mesh.points.size()) continue;
    corner = -1;
    mesh.is_damaged = true;
  }
}

}  // namespace

void read_layers(Document const& document, Element const& geometry, MeshData& mesh) {
  LayerElements const elements = index_layer_elements(document, geometry);
  std::vector<Element const*> layers;
  for (Element const* layer = geometry.first_child; layer != nullptr; layer = layer->next) {
    if (layer->name() != "Layer") continue;
    document.tree().budget.take(3 * (sizeof(MeshLayer) + sizeof(void*)) + 512);
    layers.push_back(layer);
  }
  // Their numbers have the say, not their places in the file.
  std::stable_sort(layers.begin(), layers.end(),
                   [](Element const* a, Element const* b) { return number_of(*a) < number_of(*b); });
  for (Element const* const layer : layers) {
    MeshLayer& read = mesh.layers.emplace_back();
    for (Element const* entry = layer->first_child; entry != nullptr; entry = entry->next) {
      if (entry->name() != "LayerElement") continue;
      std::string_view const type = raw_text(entry->child("Type"));
      auto const found = elements.find(std::pair(type, number_of(entry->child("TypedIndex"))));
      if (found != elements.end()) add_to_layer(document, *found->second, read);
    }
  }
  if (!layers.empty()) return;
  // Lean writers leave the layers out: elements of one number belong together then.
  for (Element const* element = geometry.first_child; element != nullptr; element = element->next) {
    if (element->name().substr(0, 12) != "LayerElement") continue;
    std::int64_t const number = number_of(*element);
    if (number < 0 || number > 63) continue;
    if (mesh.layers.size() <= static_cast<std::size_t>(number))
      mesh.layers.resize(static_cast<std::size_t>(number) + 1);
    add_to_layer(document, *element, mesh.layers[static_cast<std::size_t>(number)]);
  }
}

MeshData read_mesh(Document const& document, Element const& geometry) {
  MeshData mesh;
  read_array(document.tree(), geometry.child("Vertices"), mesh.points);
  read_layers(document, geometry, mesh);
  read_polygons(document, geometry, mesh);
  return mesh;
}

std::vector<TextureUse> read_texture_layer(Document const& document, Element const& geometry, MeshData const& mesh) {
  std::vector<TextureUse> uses;
  Element const* const element = geometry.child("LayerElementTexture");
  if (element == nullptr) return uses;
  Array<int> textures;
  read_array(document.tree(), element->child("TextureId"), textures);
  if (textures.empty()) return uses;
  MaterialAttribute const* const materials =
      mesh.layers.empty() || mesh.layers.front().materials == nullptr ? nullptr : mesh.layers.front().materials.get();
  Mapping const texture_mapping = mapping_of(raw_text(element->child("MappingInformationType")));
  if (texture_mapping != FbxLayerElement::eByPolygon && texture_mapping != FbxLayerElement::eAllSame) return uses;
  bool const materials_vary =
      materials != nullptr && materials->mapping == FbxLayerElement::eByPolygon && !materials->indices.empty();
  std::size_t const count = std::max(texture_mapping == FbxLayerElement::eByPolygon ? textures.size() : 1,
                                     materials_vary ? materials->indices.size() : 1);
  std::set<std::pair<int, int>> seen;
  for (std::size_t k = 0; k < count && k < std::max<std::size_t>(1, mesh.polygon_count()); ++k) {
    TextureUse use;
    use.texture = texture_mapping == FbxLayerElement::eAllSame ? textures[0] : k < textures.size() ? textures[k] : -1;
    if (materials_vary) {
      use.material = k < materials->indices.size() ? materials->indices[k] : -1;
    } else if (materials != nullptr && !materials->indices.empty()) {
      use.material = materials->indices[0];
    }
    if (use.texture < 0 || use.material < 0 || seen.size() > 65536) continue;
    if (seen.emplace(use.material, use.texture).second) uses.push_back(use);
  }
  return uses;
}

}  // namespace mirel::fbx
