// Unpacks an element's array: raw or deflated numbers of the binary form, lists of numbers of the text form, and
// numbers that are values of their own.
#pragma once

#include <fbxsdk/math.h>

#include "standalone/fbx/array.h"
#include "standalone/fbx/element.h"

namespace mirel::fbx {

// All throw ReadError when the array is damaged or does not fit into the tree's budget. A null element, and one
// without numbers, gives an empty array.
void read_array(ElementTree& tree, Element const* element, Array<double>& result);
// Values that no 32-bit integer holds become -1 (as an index: none).
void read_array(ElementTree& tree, Element const* element, Array<int>& result);
// Groups of numbers; a group at the end that is not whole is left out.
void read_array(ElementTree& tree, Element const* element, Array<fbxsdk::FbxVector2>& result);
// Groups of three, each with 1 behind them.
void read_array(ElementTree& tree, Element const* element, Array<fbxsdk::FbxVector4>& result);

// Up to `count` of the first numbers of an element; returns how many there were.
std::size_t read_few(Element const* element, std::size_t first_value, double* numbers, std::size_t count);

}  // namespace mirel::fbx
