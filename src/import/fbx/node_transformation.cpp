#include "src/import/fbx/node_transformation.h"

#include "src/frame/interned_name.h"
#include "src/frame/ruby_value.h"

namespace {

constexpr fbxsdk::FbxLongLong kInfiniteTime = 0x7FFFFFFFFFFFFFFF;

// 16 numbers, row by row: the last row holds the translation.
void readLocalMatrix(fbxsdk::FbxNode* node, double* numbers) {
  fbxsdk::FbxAMatrix const& matrix =
      node->EvaluateLocalTransform(fbxsdk::FbxTime(kInfiniteTime), fbxsdk::FbxNode::eSourcePivot, false, false);
  for (int row = 0; row < 4; ++row) {
    for (int column = 0; column < 4; ++column) {
      numbers[row * 4 + column] = matrix.Get(row, column);
    }
  }
}

// Translation, rotation and scaling: three numbers each.
void readGeometricParts(fbxsdk::FbxNode const* node, double* numbers) {
  fbxsdk::FbxVector4 const parts[] = {node->GetGeometricTranslation(fbxsdk::FbxNode::eSourcePivot),
                                      node->GetGeometricRotation(fbxsdk::FbxNode::eSourcePivot),
                                      node->GetGeometricScaling(fbxsdk::FbxNode::eSourcePivot)};
  for (fbxsdk::FbxVector4 const& part : parts) {
    for (int axis = 0; axis < 3; ++axis) {
      *numbers++ = part[axis];
    }
  }
}

}  // namespace

VALUE getNodeLclTransformation(fbxsdk::FbxNode* node) {
  static ID geom;
  static ID transformation;
  static ID newName;
  double numbers[16];
  readLocalMatrix(node, numbers);
  VALUE const array = rb_ary_new();
  for (double const number : numbers) {
    rb_ary_push(array, GetRubyInterface(number));
  }
  VALUE const geometry = rb_const_get(rb_mKernel, internedName(geom, "Geom"));
  VALUE const type = rb_const_get(geometry, internedName(transformation, "Transformation"));
  return rb_funcall(type, internedName(newName, "new"), 1, array);
}

VALUE getGeometricTransformation(fbxsdk::FbxNode* node, VALUE self) {
  static ID calculate;
  double numbers[9];
  readGeometricParts(node, numbers);
  VALUE arguments[10];
  for (int place = 0; place < 9; ++place) {
    arguments[place] = GetRubyInterface(numbers[place]);
  }
  arguments[9] = GetRubyInterface(node->GetName());
  return rb_funcallv(self, internedName(calculate, "calc_geometric_transform"), 10, arguments);
}
