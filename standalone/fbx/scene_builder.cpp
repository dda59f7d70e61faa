#include "standalone/fbx/scene_builder.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <set>

#include "standalone/fbx/array_reader.h"
#include "standalone/fbx/mesh_reader.h"
#include "standalone/fbx/property_types.h"
#include "standalone/fbx/sdk/internals.h"
#include "standalone/fbx/surface_reader.h"

namespace mirel::fbx {
namespace {

using namespace fbxsdk;

// A tree this deep is no scene, and whoever walks it by recursion would run out of stack.
constexpr int kDeepestNode = 1000;

FbxNodeAttribute::EType attribute_type(std::string_view kind) {
  static constexpr struct {
    std::string_view kind;
    FbxNodeAttribute::EType type;
  } kTypes[] = {{"Null", FbxNodeAttribute::eNull},
                {"Marker", FbxNodeAttribute::eMarker},
                {"FKEffector", FbxNodeAttribute::eMarker},
                {"IKEffector", FbxNodeAttribute::eMarker},
                {"Limb", FbxNodeAttribute::eSkeleton},
                {"LimbNode", FbxNodeAttribute::eSkeleton},
                {"Root", FbxNodeAttribute::eSkeleton},
                {"Effector", FbxNodeAttribute::eSkeleton},
                {"Mesh", FbxNodeAttribute::eMesh},
                {"Nurb", FbxNodeAttribute::eNurbs},
                {"Nurbs", FbxNodeAttribute::eNurbs},
                {"Patch", FbxNodeAttribute::ePatch},
                {"Camera", FbxNodeAttribute::eCamera},
                {"CameraStereo", FbxNodeAttribute::eCameraStereo},
                {"CameraSwitcher", FbxNodeAttribute::eCameraSwitcher},
                {"Switcher", FbxNodeAttribute::eCameraSwitcher},
                {"Light", FbxNodeAttribute::eLight},
                {"OpticalReference", FbxNodeAttribute::eOpticalReference},
                {"OpticalMarker", FbxNodeAttribute::eOpticalMarker},
                {"NurbsCurve", FbxNodeAttribute::eNurbsCurve},
                {"TrimNurbsSurface", FbxNodeAttribute::eTrimNurbsSurface},
                {"Boundary", FbxNodeAttribute::eBoundary},
                {"NurbsSurface", FbxNodeAttribute::eNurbsSurface},
                {"Shape", FbxNodeAttribute::eShape},
                {"LodGroup", FbxNodeAttribute::eLODGroup},
                {"LODGroup", FbxNodeAttribute::eLODGroup},
                {"SubDiv", FbxNodeAttribute::eSubDiv},
                {"CachedEffect", FbxNodeAttribute::eCachedEffect},
                {"Line", FbxNodeAttribute::eLine}};
  for (auto const& entry : kTypes) {
    if (entry.kind == kind) return entry.type;
  }
  return FbxNodeAttribute::eUnknown;
}

template <class T>
T* made(T* object) {
  if (object == nullptr) throw std::bad_alloc();
  return object;
}

bool same_word(std::string_view a, std::string_view lower) {
  return a.size() == lower.size() && std::equal(a.begin(), a.end(), lower.begin(), [](char x, char y) {
           return (x >= 'A' && x <= 'Z' ? static_cast<char>(x + 32) : x) == y;
         });
}

// What is no number leaves the value as it was: one of them would take away the place of all that hangs on the node.
void read_vector(PropertyEntry const& entry, Vector3& value) {
  double numbers[3];
  if (read_few(entry.element, entry.first_value, numbers, 3) != 3) return;
  if (std::all_of(numbers, numbers + 3, [](double number) { return std::isfinite(number); })) {
    value = {numbers[0], numbers[1], numbers[2]};
  }
}

bool read_number(PropertyEntry const& entry, double& value) {
  return read_few(entry.element, entry.first_value, &value, 1) == 1;
}

int whole(double value) {
  return std::abs(value) < 2e9 ? static_cast<int>(value) : 0;
}

// What the two shading models have by themselves, given by the file or not: textures can be connected to all of it.
struct ClassProperty {
  char const* name;
  int components;
  double value;
  bool is_phong_only;
};

constexpr ClassProperty kClassProperties[] = {{"DiffuseColor", 3, 0.8, false},
                                              {"DiffuseFactor", 1, 1, false},
                                              {"EmissiveColor", 3, 0, false},
                                              {"EmissiveFactor", 1, 1, false},
                                              {"AmbientColor", 3, 0.2, false},
                                              {"AmbientFactor", 1, 1, false},
                                              {"NormalMap", 3, 0, false},
                                              {"Bump", 3, 0, false},
                                              {"BumpFactor", 1, 1, false},
                                              {"TransparentColor", 3, 0, false},
                                              {"TransparencyFactor", 1, 0, false},
                                              {"DisplacementColor", 3, 0, false},
                                              {"DisplacementFactor", 1, 1, false},
                                              {"VectorDisplacementColor", 3, 0, false},
                                              {"VectorDisplacementFactor", 1, 1, false},
                                              {"SpecularColor", 3, 0.2, true},
                                              {"SpecularFactor", 1, 1, true},
                                              {"ShininessExponent", 1, 20, true},
                                              {"ReflectionColor", 3, 0, true},
                                              {"ReflectionFactor", 1, 1, true}};

void add_class_property(ClassProperty const& own, PropertyTable& table) {
  bool const is_given =
      std::any_of(table.begin(), table.end(), [&](PropertyValue const& value) { return value.name == own.name; });
  if (is_given) return;
  PropertyValue& value = table.emplace_back();
  value.name = own.name;
  value.type = own.components == 3 ? eFbxDouble3 : eFbxDouble;
  std::fill_n(value.numbers, own.components, own.value);
}

class SceneBuilder {
 public:
  SceneBuilder(Document const& document, FbxManager* manager, FbxScene* scene)
      : document_(document), manager_(manager), scene_(Internals::data(*scene)) {}

  void build() {
    read_settings();
    read_transform(document_.find_template("Model", "FbxNode"), defaults_);
    read_texture(document_.find_template("Texture", "FbxFileTexture"), texture_defaults_, false);
    std::size_t const count = document_.objects().size();
    charge(count * (3 * sizeof(void*) + 2 * sizeof(std::size_t) + sizeof(std::string) + sizeof(int)));
    made_.resize(count);
    attributes_.resize(count);
    parents_.assign(count, kUnconnected);
    video_names_.resize(count);
    for (std::size_t k = 0; k < count; ++k) make_object(k);
    for (Connection const& connection : document_.connections()) connect(connection);
    link_tree();
    place_layer_textures();
    name_textures();
  }

 private:
  static constexpr std::size_t kUnconnected = kNoObject - 1;

  void read_settings() {
    Internals::GlobalSettingsData& settings = Internals::data(*scene_.settings);
    // Y up, Z to the front, X to the right, in centimetres.
    double axis[3] = {0, 1, 2};
    double sign[3] = {1, 1, 1};
    static constexpr std::string_view kNames[3] = {"CoordAxis", "UpAxis", "FrontAxis"};
    static constexpr std::string_view kSignNames[3] = {"CoordAxisSign", "UpAxisSign", "FrontAxisSign"};
    PropertyEntry entry;
    for (std::size_t k = 0; k < 3; ++k) {
      if (Document::find_property(document_.global_settings(), kNames[k], entry)) read_number(entry, axis[k]);
      if (Document::find_property(document_.global_settings(), kSignNames[k], entry)) read_number(entry, sign[k]);
    }
    int axes[3];
    int found = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      int const one = whole(axis[k]);
      if (one < 0 || one > 2) break;
      found |= 1 << one;
      axes[k] = (one + 1) * (sign[k] < 0 ? -1 : 1);
    }
    // Axes that are no system stay Y up.
    settings.axes = found == 7 ? Internals::axis_system(axes[0], axes[1], axes[2]) : FbxAxisSystem::MayaYUp;
    double unit = 1;
    if (Document::find_property(document_.global_settings(), "UnitScaleFactor", entry) && read_number(entry, unit) &&
        std::isfinite(unit) && unit > 0) {
      settings.unit = unit;
    }
  }

  static void read_transform(Element const* holder, Transform& transform) {
    for (PropertyEntry entry; Document::next_property(holder, entry);) {
      std::string_view const name = entry.name;
      double number = 0;
      if (name == "Lcl Translation") {
        read_vector(entry, transform.translation);
      } else if (name == "Lcl Rotation") {
        read_vector(entry, transform.rotation);
      } else if (name == "Lcl Scaling") {
        read_vector(entry, transform.scaling);
      } else if (name == "RotationOffset") {
        read_vector(entry, transform.rotation_offset);
      } else if (name == "RotationPivot") {
        read_vector(entry, transform.rotation_pivot);
      } else if (name == "PreRotation") {
        read_vector(entry, transform.pre_rotation);
      } else if (name == "PostRotation") {
        read_vector(entry, transform.post_rotation);
      } else if (name == "ScalingOffset") {
        read_vector(entry, transform.scaling_offset);
      } else if (name == "ScalingPivot") {
        read_vector(entry, transform.scaling_pivot);
      } else if (name == "GeometricTranslation") {
        read_vector(entry, transform.geometric_translation);
      } else if (name == "GeometricRotation") {
        read_vector(entry, transform.geometric_rotation);
      } else if (name == "GeometricScaling") {
        read_vector(entry, transform.geometric_scaling);
      } else if (name == "RotationOrder") {
        if (read_number(entry, number) && number >= 0 && number <= 6) {
          transform.order = static_cast<RotationOrder>(whole(number));
        }
      } else if (name == "RotationActive") {
        if (read_number(entry, number)) transform.rotation_active = number != 0;
      }
    }
  }

  void charge(std::size_t bytes) { document_.tree().budget.take(bytes); }
  // Short texts are kept in the string itself.
  void charge_text(std::string const& text) {
    if (text.capacity() > std::string().capacity()) charge(text.capacity() + 16);
  }

  void make_object(std::size_t index) {
    DocumentObject const& object = document_.objects()[index];
    if (object.type == "Model") {
      make_node(index);
    } else if (object.type == "Geometry") {
      if (object.kind != "Shape") attributes_[index] = make_geometry(object, attribute_type(object.kind), object.name);
    } else if (object.type == "NodeAttribute") {
      attributes_[index] = make_attribute(attribute_type(object.kind), object.name);
    } else if (object.type == "Material") {
      made_[index] = make_material(object);
    } else if (object.type == "Texture" || object.type == "LayeredTexture" || object.type == "ProceduralTexture") {
      made_[index] = make_texture(object);
    } else if (object.type == "Implementation") {
      made_[index] = make_implementation(object);
    } else if (object.type == "Video") {
      Element const* name = object.element->child("FileName");
      if (name == nullptr) name = object.element->child("Filename");
      if (name != nullptr && name->value_count > 0) video_names_[index] = document_.text(name->values[0]);
    }
    if (attributes_[index] != nullptr) made_[index] = attributes_[index];
  }

  void make_node(std::size_t index) {
    DocumentObject const& object = document_.objects()[index];
    charge(sizeof(FbxNode) + sizeof(Internals::NodeData) + 256);
    FbxNode* const node =
        made(Internals::create<FbxNode, Internals::NodeData>(manager_, Internals::kNode, object.name));
    Internals::NodeData& data = Internals::data(*node);
    data.transform = defaults_;
    read_transform(object.element, data.transform);
    data.local = local_matrix(data.transform);
    for (std::string_view const name : {"Visibility", "Show", "InheritType"}) {
      PropertyEntry entry;
      if (!Document::find_property(object.element, name, entry)) continue;
      charge(2 * sizeof(PropertyValue));
      data.properties.push_back(read_value(document_, entry));
      charge_text(data.properties.back().text);
    }
    sort_properties(data.properties);
    made_[index] = node;
    // Version 6 has no objects for attributes: the model holds them.
    bool const holds_mesh = object.element->child("Vertices") != nullptr;
    bool const is_old = object.element->value_count > 0 && object.element->values[0].kind != Value::Kind::kInteger;
    if (!is_old && !holds_mesh) return;
    FbxNodeAttribute::EType type = attribute_type(object.kind);
    if (holds_mesh && type == FbxNodeAttribute::eUnknown) type = FbxNodeAttribute::eMesh;
    std::string name = object.name;
    Element const* const stored = object.element->child("NodeAttributeName");
    if (stored != nullptr && stored->value_count > 0) {
      std::string const full = document_.text(stored->values[0]);
      std::size_t const divider = full.find("::");
      std::size_t const packed = full.find(std::string_view("\0\1", 2));
      name = packed != std::string::npos    ? full.substr(0, packed)
             : divider != std::string::npos ? full.substr(divider + 2)
                                            : full;
    }
    if (type != FbxNodeAttribute::eUnknown) attach(node, make_geometry(object, type, name));
  }

  FbxNodeAttribute* make_geometry(DocumentObject const& object, FbxNodeAttribute::EType type, std::string const& name) {
    switch (type) {
      case FbxNodeAttribute::eMesh: {
        charge(sizeof(Internals::GeometryData) + 64);
        MeshData mesh = read_mesh(document_, *object.element);
        FbxMesh* const made_mesh = made(Internals::create_mesh(manager_, name, std::move(mesh)));
        Internals::data(*made_mesh).budget = document_.tree().shared_budget;
        return made_mesh;
      }
      case FbxNodeAttribute::eNurbs:
      case FbxNodeAttribute::eNurbsSurface:
      case FbxNodeAttribute::ePatch: {
        charge(sizeof(Internals::GeometryData) + 64);
        FbxGeometry* const surface =
            made(Internals::create_surface(manager_, name, type, read_surface(document_, *object.element, type)));
        Internals::data(*surface).budget = document_.tree().shared_budget;
        return surface;
      }
      default:
        return make_attribute(type, name);
    }
  }

  FbxNodeAttribute* make_attribute(FbxNodeAttribute::EType type, std::string const& name) {
    charge(sizeof(Internals::AttributeData) + 64);
    FbxNodeAttribute* const attribute =
        made(Internals::create<FbxNodeAttribute, Internals::AttributeData>(manager_, Internals::kNodeAttribute, name));
    Internals::data(*attribute).kind = type;
    return attribute;
  }

  // Appends all properties of an element; there is room for some more then.
  void read_properties(Element const* holder, PropertyTable& table, std::size_t more) {
    std::size_t count = 0;
    for (PropertyEntry entry; Document::next_property(holder, entry);) ++count;
    charge((count + more) * sizeof(PropertyValue));
    table.reserve(table.size() + count + more);
    for (PropertyEntry entry; Document::next_property(holder, entry);) {
      table.push_back(read_value(document_, entry));
      charge_text(table.back().name);
      charge_text(table.back().text);
    }
  }

  // By name, as they are looked up; of several of one name the first counts.
  static void sort_properties(PropertyTable& table) {
    auto const by_name = [](PropertyValue const& a, PropertyValue const& b) { return a.name < b.name; };
    if (std::is_sorted(table.begin(), table.end(), by_name)) return;
    std::stable_sort(table.begin(), table.end(), by_name);
  }

  // Values that materials of that shading model have where the file gives none.
  std::shared_ptr<PropertyTable const> material_defaults(std::string_view class_name) {
    std::shared_ptr<PropertyTable const>& known = material_defaults_[std::string(class_name)];
    if (known != nullptr) return known;
    auto table = std::make_shared<PropertyTable>();
    read_properties(document_.find_template("Material", class_name), *table, std::size(kClassProperties));
    for (ClassProperty const& own : kClassProperties) {
      if (class_name == "FbxSurfacePhong" || (class_name == "FbxSurfaceLambert" && !own.is_phong_only)) {
        add_class_property(own, *table);
      }
    }
    sort_properties(*table);
    known = std::move(table);
    return known;
  }

  FbxObject* make_material(DocumentObject const& object) {
    std::string_view shading = raw_text(object.element->child("ShadingModel"));
    PropertyEntry entry;
    if (shading.empty() && Document::find_property(object.element, "ShadingModel", entry)) {
      shading = raw_text(entry.element, entry.first_value);
    }
    bool const phong = same_word(shading, "phong");
    bool const lambert = same_word(shading, "lambert");
    charge(sizeof(Internals::ObjectData) + 128);
    FbxSurfaceMaterial* material = nullptr;
    if (phong) {
      material = made(
          Internals::create<FbxSurfacePhong, Internals::ObjectData>(manager_, Internals::kSurfacePhong, object.name));
    } else if (lambert) {
      material = made(Internals::create<FbxSurfaceLambert, Internals::ObjectData>(manager_, Internals::kSurfaceLambert,
                                                                                  object.name));
    } else {
      material = made(Internals::create<FbxSurfaceMaterial, Internals::ObjectData>(
          manager_, Internals::kSurfaceMaterial, object.name));
    }
    Internals::ObjectData& data = Internals::data(*material);
    read_properties(object.element, data.properties, 1);
    // Some writers of version 6 give only the colour that the factor has been applied to.
    PropertyEntry older_diffuse;
    if (!Document::find_property(object.element, FbxSurfaceMaterial::sDiffuse, entry) &&
        Document::find_property(object.element, "Diffuse", older_diffuse) &&
        older_diffuse.element->name() == "Property") {
      data.properties.push_back(read_value(document_, older_diffuse));
      data.properties.back().name = FbxSurfaceMaterial::sDiffuse;
    }
    sort_properties(data.properties);
    data.defaults = material_defaults(phong ? "FbxSurfacePhong" : lambert ? "FbxSurfaceLambert" : "FbxSurfaceMaterial");
    if (FbxSurfaceLambert* const shaded = FbxCast<FbxSurfaceLambert>(material)) {
      shaded->Diffuse = FbxPropertyT<FbxDouble3>(shaded->FindProperty(FbxSurfaceMaterial::sDiffuse));
    }
    return material;
  }

  FbxObject* make_texture(DocumentObject const& object) {
    charge(sizeof(Internals::TextureData) + 256);
    FbxTexture* texture = nullptr;
    if (object.type == "LayeredTexture") {
      texture = made(Internals::create<FbxLayeredTexture, Internals::TextureData>(manager_, Internals::kLayeredTexture,
                                                                                  object.name));
      Array<int> modes;
      read_array(document_.tree(), object.element->child("BlendModes"), modes);
      charge(modes.size() * sizeof(int));
      Internals::data(*texture).blend_modes.reserve(modes.size());
      for (int const mode : modes) {
        bool const known = mode >= 0 && mode < FbxLayeredTexture::eBlendModeCount;
        Internals::data(*texture).blend_modes.push_back(known ? mode : static_cast<int>(FbxLayeredTexture::eNormal));
      }
    } else if (object.type == "ProceduralTexture") {
      texture = made(Internals::create<FbxProceduralTexture, Internals::TextureData>(
          manager_, Internals::kProceduralTexture, object.name));
    } else {
      texture = made(
          Internals::create<FbxFileTexture, Internals::TextureData>(manager_, Internals::kFileTexture, object.name));
    }
    Internals::TextureData& data = Internals::data(*texture);
    static_cast<Internals::TextureValues&>(data) = texture_defaults_;
    read_texture(object.element, data, true);
    return texture;
  }

  // How a texture is put on a surface: one list in the file where the SDK has a type and, for planes, a normal.
  static void set_mapping(int unified, Internals::TextureValues& data) {
    static constexpr struct {
      FbxTexture::EMappingType type;
      FbxTexture::EPlanarMappingNormal normal;
    } kMappings[] = {
        {FbxTexture::eUV, FbxTexture::ePlanarNormalX},          {FbxTexture::ePlanar, FbxTexture::ePlanarNormalZ},
        {FbxTexture::ePlanar, FbxTexture::ePlanarNormalX},      {FbxTexture::ePlanar, FbxTexture::ePlanarNormalY},
        {FbxTexture::eSpherical, FbxTexture::ePlanarNormalX},   {FbxTexture::eCylindrical, FbxTexture::ePlanarNormalX},
        {FbxTexture::eEnvironment, FbxTexture::ePlanarNormalX}, {FbxTexture::eNull, FbxTexture::ePlanarNormalX},
        {FbxTexture::eBox, FbxTexture::ePlanarNormalX},         {FbxTexture::eFace, FbxTexture::ePlanarNormalX},
        {FbxTexture::eNull, FbxTexture::ePlanarNormalX}};
    if (unified < 0 || unified >= static_cast<int>(std::size(kMappings))) return;
    data.mapping = kMappings[unified].type;
    data.planar_normal = kMappings[unified].normal;
  }

  void read_texture(Element const* holder, Internals::TextureValues& data, bool is_object) {
    if (holder == nullptr) return;
    double numbers[4];
    // The older elements first: a property of the same meaning is the newer word.
    if (read_few(holder->child("ModelUVTranslation"), 0, numbers, 2) == 2) std::copy_n(numbers, 2, data.translation);
    if (read_few(holder->child("ModelUVScaling"), 0, numbers, 2) == 2) std::copy_n(numbers, 2, data.scaling);
    if (read_few(holder->child("Cropping"), 0, numbers, 4) == 4) {
      std::transform(numbers, numbers + 4, data.cropping, whole);
    }
    std::string_view const alpha = raw_text(holder->child("Texture_Alpha_Source"));
    if (alpha == "Alpha_Luminosity" || alpha == "RGB_Intensity" || alpha == "Alpha_Luminance") {
      data.alpha_source = FbxTexture::eRGBIntensity;
    } else if (alpha == "Alpha_Black" || alpha == "Black") {
      data.alpha_source = FbxTexture::eBlack;
    }
    for (PropertyEntry entry; Document::next_property(holder, entry);) {
      std::string_view const name = entry.name;
      std::size_t const count = read_few(entry.element, entry.first_value, numbers, 3);
      if (count == 0) continue;
      if (name == "Translation" && count >= 2) {
        std::copy_n(numbers, 2, data.translation);
      } else if (name == "Rotation" && count == 3) {
        std::copy_n(numbers, 3, data.rotation);
      } else if (name == "Scaling" && count >= 2) {
        std::copy_n(numbers, 2, data.scaling);
      } else if (name == "UVSwap") {
        data.swap_uv = numbers[0] != 0;
      } else if (name == "Texture alpha") {
        data.alpha = numbers[0];
      } else if (name == "CurrentMappingType") {
        set_mapping(whole(numbers[0]), data);
      } else if (name == "TextureTypeUse" && numbers[0] >= 0 && numbers[0] <= 5) {
        data.use = static_cast<FbxTexture::ETextureUse>(whole(numbers[0]));
      } else if (name == "AlphaSource" && numbers[0] >= 0 && numbers[0] <= 2) {
        data.alpha_source = static_cast<FbxTexture::EAlphaSource>(whole(numbers[0]));
      } else if (name == "UseMaterial" && is_object) {
        data.material_use = numbers[0] != 0 ? FbxFileTexture::eModelMaterial : FbxFileTexture::eDefaultMaterial;
      }
    }
    auto const read_name = [&](std::string_view first, std::string_view second, std::string& result) {
      Element const* name = holder->child(first);
      if (name == nullptr) name = holder->child(second);
      if (name != nullptr && name->value_count > 0) result = document_.text(name->values[0]);
    };
    read_name("FileName", "Filename", data.file_name);
    read_name("RelativeFilename", "RelativeFileName", data.relative_name);
    charge_text(data.file_name);
    charge_text(data.relative_name);
  }

  FbxObject* make_implementation(DocumentObject const& object) {
    charge(sizeof(Internals::ImplementationData) + 64);
    FbxImplementation* const implementation = made(Internals::create<FbxImplementation, Internals::ImplementationData>(
        manager_, Internals::kImplementation, object.name));
    PropertyEntry entry;
    if (Document::find_property(object.element, "ShaderLanguage", entry) &&
        entry.first_value < entry.element->value_count) {
      Internals::data(*implementation).language = document_.text(entry.element->values[entry.first_value]);
    }
    return implementation;
  }

  void attach(FbxNode* node, FbxNodeAttribute* attribute) {
    charge(6 * sizeof(void*));
    Internals::data(*node).attributes.push_back(attribute);
    Internals::data(*attribute).nodes.push_back(node);
  }

  void add_source(FbxObject* target, std::string_view property, FbxObject* source) {
    charge(3 * sizeof(Internals::ObjectData::Source) + property.size());
    Internals::data(*target).sources.push_back({std::string(property), source});
  }

  void connect(Connection const& connection) {
    DocumentObject const& source = document_.objects()[connection.source];
    if (connection.target == kNoObject) {
      if (source.type == "Model") set_parent(connection.source, kNoObject);
      return;
    }
    DocumentObject const& target = document_.objects()[connection.target];
    FbxObject* const source_object = made_[connection.source];
    FbxObject* const target_object = made_[connection.target];
    if (source.type == "Video" && target.type == "Texture") {
      Internals::TextureData& data = Internals::data(*static_cast<FbxTexture*>(target_object));
      if (data.file_name.empty()) data.file_name = video_names_[connection.source];
      return;
    }
    if (source_object == nullptr || target_object == nullptr) return;
    if (FbxNode* const node = FbxCast<FbxNode>(target_object)) {
      if (!connection.property.empty()) return;
      if (source_object->Is<FbxNode>()) {
        set_parent(connection.source, connection.target);
      } else if (attributes_[connection.source] != nullptr) {
        // A node has an attribute once, however often the file says so.
        charge(64);
        if (attached_.emplace(connection.target, connection.source).second) {
          attach(node, attributes_[connection.source]);
        }
      } else if (FbxSurfaceMaterial* const material = FbxCast<FbxSurfaceMaterial>(source_object)) {
        charge(3 * sizeof(void*));
        Internals::data(*node).materials.push_back(material);
      } else if (FbxTexture* const texture = FbxCast<FbxTexture>(source_object)) {
        charge(128);
        model_textures_[connection.target].push_back(texture);
      }
    } else if (source_object->Is<FbxTexture>()) {
      add_source(target_object, connection.property, source_object);
    } else if (source_object->Is<FbxImplementation>()) {
      add_source(target_object, "", source_object);
    } else if (target_object->Is<FbxImplementation>() && source_object->Is<FbxSurfaceMaterial>()) {
      // Files have it the other way round: the material is connected to its implementation.
      add_source(source_object, "", target_object);
    }
  }

  // A node has one parent: the first that the file gives it.
  void set_parent(std::size_t child, std::size_t parent) {
    if (parents_[child] != kUnconnected) return;
    parents_[child] = parent;
    order_.push_back(child);
  }

  void link_tree() {
    check_hierarchy();
    for (std::size_t const child : order_) {
      FbxNode* const node = static_cast<FbxNode*>(made_[child]);
      FbxNode* const parent =
          parents_[child] == kNoObject ? scene_.root : static_cast<FbxNode*>(made_[parents_[child]]);
      Internals::data(*node).parent = parent;
      Internals::data(*parent).children.push_back(node);
    }
    scene_.node_count = 1 + scene_.root->GetChildCount(true);
  }

  void check_hierarchy() const {
    // Depth of each node below the root or below a node without a parent; 0 is unknown.
    std::vector<int> depths(parents_.size(), 0);
    std::vector<std::size_t> path;
    for (std::size_t const start : order_) {
      path.clear();
      std::size_t node = start;
      while (node < parents_.size() && depths[node] == 0) {
        depths[node] = -1;
        path.push_back(node);
        node = parents_[node];
      }
      if (node < parents_.size() && depths[node] == -1) throw ReadError("The hierarchy of nodes is cyclic");
      int depth = node < parents_.size() ? depths[node] : 0;
      for (std::size_t k = path.size(); k-- > 0;) {
        depths[path[k]] = ++depth;
        if (depth > kDeepestNode) throw ReadError("The hierarchy of nodes is too deep");
      }
    }
  }

  // Some writers give only the path beside the file.
  void name_textures() {
    for (FbxObject* const object : made_) {
      FbxFileTexture* const texture = FbxCast<FbxFileTexture>(object);
      if (texture == nullptr || !Internals::data(*texture).file_name.empty()) continue;
      charge_text(Internals::data(*texture).relative_name);
      Internals::data(*texture).file_name = Internals::data(*texture).relative_name;
    }
  }

  // Version 6 connects textures to the node and tells per polygon which of them is meant.
  void place_layer_textures() {
    std::set<FbxSurfaceMaterial*> placed;
    for (auto const& [index, textures] : model_textures_) {
      FbxNode* const node = static_cast<FbxNode*>(made_[index]);
      FbxMesh* const mesh = FbxCast<FbxMesh>(node->GetNodeAttribute());
      if (mesh == nullptr) continue;
      Internals::NodeData& data = Internals::data(*node);
      for (TextureUse const& use :
           read_texture_layer(document_, *document_.objects()[index].element, Internals::data(*mesh).mesh)) {
        if (static_cast<std::size_t>(use.material) >= data.materials.size()) continue;
        if (static_cast<std::size_t>(use.texture) >= textures.size()) continue;
        FbxSurfaceMaterial* const material = data.materials[static_cast<std::size_t>(use.material)];
        // Looked at once: after that it has a texture.
        if (!placed.insert(material).second) continue;
        FbxProperty const diffuse = material->FindProperty(FbxSurfaceMaterial::sDiffuse);
        if (diffuse.GetSrcObjectCount<FbxTexture>() > 0) continue;
        add_source(material, FbxSurfaceMaterial::sDiffuse, textures[static_cast<std::size_t>(use.texture)]);
      }
    }
  }

  Document const& document_;
  FbxManager* manager_;
  Internals::SceneData& scene_;
  Transform defaults_;
  Internals::TextureValues texture_defaults_;
  // By number of the document's object; null where nothing was made.
  std::vector<FbxObject*> made_;
  std::vector<FbxNodeAttribute*> attributes_;
  std::vector<std::size_t> parents_;
  std::vector<std::string> video_names_;
  // Nodes with a parent, in the order of their connections.
  std::vector<std::size_t> order_;
  std::map<std::size_t, std::vector<FbxTexture*>> model_textures_;
  // Numbers of a node and an attribute.
  std::set<std::pair<std::size_t, std::size_t>> attached_;
  std::map<std::string, std::shared_ptr<PropertyTable const>> material_defaults_;
};

}  // namespace

void build_scene(Document const& document, FbxManager* manager, FbxScene* scene) {
  SceneBuilder(document, manager, scene).build();
}

}  // namespace mirel::fbx
