#include "standalone/model/picture.h"

namespace mirel::model {

std::optional<Picture> read_picture(Bytes file) {
  if (file.size() >= 2 && file[0] == 'B' && file[1] == 'M') {
    return read_bmp(file);
  }
  return read_tga(file);
}

}  // namespace mirel::model
