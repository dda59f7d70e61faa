// Any bytes as an FBX file: parsed, made into a scene, turned to other axes, walked as the importer walks it.
#include <fbxsdk.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "standalone/fbx/document.h"
#include "standalone/fbx/scene_builder.h"

namespace {

using namespace fbxsdk;

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

double touch_material(FbxSurfaceMaterial* material) {
  double sum = static_cast<double>(std::strlen(material->GetName()));
  for (char const* const channel : FbxLayerElement::sTextureChannelNames) {
    FbxProperty const property = material->FindProperty(channel);
    sum += property.Get<FbxDouble3>()[0];
    for (int j = 0; j < property.GetSrcObjectCount<FbxTexture>(); ++j) {
      FbxTexture* const texture = property.GetSrcObject<FbxTexture>(j);
      sum += texture->GetScaleU() + static_cast<double>(texture->GetMappingType());
      if (FbxFileTexture* const file = FbxCast<FbxFileTexture>(texture)) {
        sum += static_cast<double>(std::strlen(file->GetFileName()));
      }
      FbxLayeredTexture* const layered = FbxCast<FbxLayeredTexture>(texture);
      for (int k = 0; layered != nullptr && k < layered->GetSrcObjectCount<FbxTexture>(); ++k) {
        FbxLayeredTexture::EBlendMode mode = FbxLayeredTexture::eNormal;
        if (layered->GetTextureBlendMode(k, mode) && mode >= FbxLayeredTexture::eBlendModeCount) std::abort();
      }
    }
  }
  if (GetImplementation(material, FBXSDK_IMPLEMENTATION_HLSL) != nullptr) sum += 1;
  return sum;
}

double touch_node(FbxNode* node, FbxGeometryConverter& converter) {
  double sum = node->EvaluateLocalTransform().Get(3, 0) + node->GetGeometricScaling(FbxNode::eSourcePivot)[0];
  for (int k = 0; k < node->GetMaterialCount(); ++k) sum += touch_material(node->GetMaterial(k));
  for (int k = 0; k < node->GetNodeAttributeCount(); ++k) {
    FbxMesh* const mesh = FbxCast<FbxMesh>(converter.Triangulate(node->GetNodeAttributeByIndex(k), true));
    if (mesh != nullptr) sum += touch_mesh(mesh);
  }
  for (int k = 0; k < node->GetChildCount(); ++k) sum += touch_node(node->GetChild(k), converter);
  return sum;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
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
    sum = sum + touch_node(scene->GetRootNode(), converter);
  } catch (mirel::fbx::ReadError const&) {
  }
  manager->Destroy();
  return 0;
}
