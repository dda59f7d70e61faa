// Pictures that an FBX file carries inside.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "standalone/fbx/document.h"

namespace mirel::fbx {

// Calls `take` with the file name (its last part, of whatever system) and the bytes of every picture that has both.
void each_embedded_medium(Document const& document,
                          std::function<void(std::string const& name, std::string_view bytes)> const& take);

// The bytes that a text of base 64 stands for, as far as it is one; blanks and line ends do not count.
std::string decode_base64(std::string_view text);

}  // namespace mirel::fbx
