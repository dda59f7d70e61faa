#include "standalone/engine/deviation/local_face.h"

#include <algorithm>

namespace mirel::engine {

void measure(LocalFace const& face, LocalPoints const& points, LocalPlaces const& out) {
  LocalFace const f = face;
  float const ex = f.cx - f.bx;
  for (std::size_t begin = 0; begin < points.count; begin += kLocalBlock) {
    float const* const px = points.x + begin;
    float const* const py = points.y + begin;
    float const* const pz = points.z + begin;
    float rx[kLocalBlock];
    float ry[kLocalBlock];
    float rz[kLocalBlock];
    float rd[kLocalBlock];
    // No branches and no calls: the compiler puts the block into lanes.
    for (std::size_t i = 0; i < kLocalBlock; ++i) {
      float const qx = px[i] - f.origin[0];
      float const qy = py[i] - f.origin[1];
      float const qz = pz[i] - f.origin[2];
      float const x = qx * f.axis_x[0] + qy * f.axis_x[1] + qz * f.axis_x[2];
      float const y = qx * f.axis_y[0] + qy * f.axis_y[1] + qz * f.axis_y[2];
      float const z = qx * f.normal[0] + qy * f.normal[1] + qz * f.normal[2];
      float const bc = f.bc_x * x + f.bc_y * y + f.bc_offset;
      float const ca = f.ca_x * x + f.ca_y * y;
      float const least = std::min(y, std::min(bc, ca));
      float const t_ab = std::min(std::max(x * f.bx * f.inverse_ab, 0.0F), 1.0F);
      float const ab_x = x - t_ab * f.bx;
      float const to_ab = ab_x * ab_x + y * y;
      float const t_bc = std::min(std::max(((x - f.bx) * ex + y * f.cy) * f.inverse_bc, 0.0F), 1.0F);
      float const bc_x = x - f.bx - t_bc * ex;
      float const bc_y = y - t_bc * f.cy;
      float const to_bc = bc_x * bc_x + bc_y * bc_y;
      float const t_ca = std::min(std::max((x * f.cx + y * f.cy) * f.inverse_ca, 0.0F), 1.0F);
      float const ca_x = x - t_ca * f.cx;
      float const ca_y = y - t_ca * f.cy;
      float const to_ca = ca_x * ca_x + ca_y * ca_y;
      float const outside = std::min(to_ab, std::min(to_bc, to_ca));
      rx[i] = x;
      ry[i] = y;
      rz[i] = z;
      rd[i] = z * z + (least >= f.doubt ? 0.0F : outside);
    }
    std::copy_n(rx, kLocalBlock, out.x + begin);
    std::copy_n(ry, kLocalBlock, out.y + begin);
    std::copy_n(rz, kLocalBlock, out.z + begin);
    std::copy_n(rd, kLocalBlock, out.squared + begin);
  }
}

}  // namespace mirel::engine
