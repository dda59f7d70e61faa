// Any bytes as an FBX file: parsed, made into a scene, turned to other axes, walked as the importer and its diagnostics
// walk it. Every allocation is counted: together they never hold more than 20 times the file and a constant.
#include <fbxsdk.h>
#include <sanitizer/allocator_interface.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "standalone/fbx/document.h"
#include "standalone/fbx/scene/scene_builder.h"

namespace {

using namespace fbxsdk;

// What is allowed beside 20 times the file: the smaller base that the budget has here, and objects that every scene
// has.
constexpr std::int64_t kMemoryBase = 512 << 10;

// Since the counting began, so that it falls below zero when older blocks are released.
std::atomic<std::int64_t> held{0};
std::atomic<std::int64_t> most_held{0};

void count_allocation(void const volatile*, std::size_t size) {
  std::int64_t const now = held += static_cast<std::int64_t>(size);
  if (now > most_held) most_held = now;
}

void count_release(void const volatile* place) {
  if (place != nullptr) held -= static_cast<std::int64_t>(__sanitizer_get_allocated_size(const_cast<void*>(place)));
}

// Sums keep reads from being left out.
double touch_mesh(FbxMesh* mesh) {
  double sum = 0;
  for (int k = 0; k < mesh->GetControlPointsCount(); ++k) sum += mesh->GetControlPoints()[k][0];
  FbxLayer* const layer = mesh->GetLayer(0);
  for (int p = 0; p < mesh->GetPolygonCount(); ++p) {
    if (mesh->GetPolygonSize(p) != 3) std::abort();
    for (int k = 0; k < 3; ++k) {
      int const point = mesh->GetPolygonVertex(p, k);
      if (point < 0 || point >= mesh->GetControlPointsCount()) std::abort();
      FbxVector4 normal;
      if (mesh->GetPolygonVertexNormal(p, k, normal)) sum += normal[2];
      int const uv = mesh->GetTextureUVIndex(p, k);
      if (layer != nullptr && layer->GetUVs() != nullptr) sum += layer->GetUVs()->GetDirectArray().GetAt(uv)[1];
    }
    if (layer != nullptr && layer->GetMaterials() != nullptr) sum += layer->GetMaterials()->GetIndexArray().GetAt(p);
  }
  return sum;
}

void touch_texture(FbxTexture* texture, double& sum) {
  sum += texture->GetScaleU() + texture->GetScaleV() + texture->GetTranslationU() + texture->GetTranslationV();
  sum += texture->GetRotationU() + texture->GetRotationV() + texture->GetRotationW() + texture->GetDefaultAlpha();
  sum += texture->GetSwapUV() ? 1 : 0;
  for (int const side : {texture->GetCroppingLeft(), texture->GetCroppingTop(), texture->GetCroppingRight(),
                         texture->GetCroppingBottom()}) {
    sum += side;
  }
  // The diagnostics look names up by these.
  if (texture->GetMappingType() < 0 || texture->GetMappingType() > FbxTexture::eEnvironment) std::abort();
  if (texture->GetPlanarMappingNormal() < 0 || texture->GetPlanarMappingNormal() > 2) std::abort();
  if (texture->GetAlphaSource() < 0 || texture->GetAlphaSource() > FbxTexture::eBlack) std::abort();
  if (texture->GetTextureUse() < 0 || texture->GetTextureUse() > FbxTexture::eBumpNormalMap) std::abort();
}

double touch_material(FbxSurfaceMaterial* material) {
  double sum = static_cast<double>(std::strlen(material->GetName()));
  for (char const* const channel : FbxLayerElement::sTextureChannelNames) {
    FbxProperty const property = material->FindProperty(channel);
    sum += property.Get<FbxDouble3>()[0];
    for (int j = 0; j < property.GetSrcObjectCount<FbxTexture>(); ++j) {
      FbxTexture* const texture = property.GetSrcObject<FbxTexture>(j);
      touch_texture(texture, sum);
      if (FbxFileTexture* const file = FbxCast<FbxFileTexture>(texture)) {
        sum += static_cast<double>(std::strlen(file->GetFileName()));
      }
      FbxLayeredTexture* const layered = FbxCast<FbxLayeredTexture>(texture);
      for (int k = 0; layered != nullptr && k < layered->GetSrcObjectCount<FbxTexture>(); ++k) {
        FbxLayeredTexture::EBlendMode mode = FbxLayeredTexture::eNormal;
        if (layered->GetTextureBlendMode(k, mode) && mode >= FbxLayeredTexture::eBlendModeCount) std::abort();
        if (layered->GetSrcObject<FbxTexture>(k) == nullptr) std::abort();
        touch_texture(layered->GetSrcObject<FbxTexture>(k), sum);
      }
    }
  }
  if (GetImplementation(material, FBXSDK_IMPLEMENTATION_HLSL) != nullptr) sum += 1;
  return sum;
}

double touch_node(FbxNode* node, FbxGeometryConverter& converter, int& count) {
  double sum = node->EvaluateLocalTransform().Get(3, 0) + node->GetGeometricScaling(FbxNode::eSourcePivot)[0];
  for (int k = 0; k < node->GetMaterialCount(); ++k) sum += touch_material(node->GetMaterial(k));
  for (int k = 0; k < node->GetNodeAttributeCount(); ++k) {
    FbxMesh* const mesh = FbxCast<FbxMesh>(converter.Triangulate(node->GetNodeAttributeByIndex(k), true));
    if (mesh != nullptr) sum += touch_mesh(mesh);
  }
  for (int k = 0; k < node->GetChildCount(); ++k) {
    if (node->GetChild(k)->GetParent() != node) std::abort();
    sum += touch_node(node->GetChild(k), converter, count);
  }
  ++count;
  return sum;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  static bool const counts = __sanitizer_install_malloc_and_free_hooks(count_allocation, count_release) != 0;
  if (!counts) std::abort();
  std::int64_t const held_before = held;
  most_held = held_before;
  std::string bytes(reinterpret_cast<char const*>(data), size);
  bytes.append(mirel::fbx::kReadAhead, '\0');
  std::string_view const view(bytes.data(), size);
  FbxManager* const manager = FbxManager::Create();
  FbxScene* const scene = FbxScene::Create(manager, "myScene");
  volatile double sum = 0;
  try {
    auto const tree = mirel::fbx::read_elements(view);
    mirel::fbx::Document const document(*tree);
    mirel::fbx::build_scene(document, manager, scene);
    FbxAxisSystem::MayaZUp.ConvertScene(scene);
    FbxGeometryConverter converter(manager);
    int count = 0;
    sum = sum + touch_node(scene->GetRootNode(), converter, count);
    if (count != scene->GetNodeCount()) std::abort();
    int sign = 0;
    if (scene->GetGlobalSettings().GetAxisSystem().GetUpVector(sign) != FbxAxisSystem::eZAxis || sign != 1)
      std::abort();
  } catch (mirel::fbx::ReadError const&) {
  }
  manager->Destroy();
  std::int64_t const taken = most_held - held_before;
  if (taken > 20 * static_cast<std::int64_t>(size) + kMemoryBase) {
    std::fprintf(stderr, "%zu bytes made it hold %lld\n", size, static_cast<long long>(taken));
    std::abort();
  }
  return 0;
}
