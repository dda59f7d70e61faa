// Numbers of the text form.
#pragma once

#include <string_view>

#include "standalone/fbx/element.h"

namespace mirel::fbx {

// The word as an integer or a real number; kText, without bytes, when it is neither.
Value number_value(char const* begin, char const* end);
// The whole word as a number; what does not fit is infinite or zero.
bool parse_number(char const* begin, char const* end, double& value);
// Whether a number that has no digits begins here: "nan", "inf".
bool begins_special_number(std::string_view text);

}  // namespace mirel::fbx
