// How alike two pictures are: mean absolute difference, and the structural similarity (SSIM) of Z. Wang, A. C. Bovik,
// H. R. Sheikh, E. P. Simoncelli, "Image Quality Assessment: From Error Visibility to Structural Similarity", IEEE
// Transactions on Image Processing 13(4), 2004: windows of 11 x 11 pixels under a Gaussian of 1.5 pixels, K1 0.01, K2
// 0.03, on the brightness (0.299 R + 0.587 G + 0.114 B). Both are means over the pixels of a mask.
#pragma once

#include <cstdint>
#include <vector>

namespace mirel::pictures {

struct Picture {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::vector<float> rgb;             // 0 to 255, from the top
  std::vector<std::uint8_t> covered;  // per pixel: whether something was drawn there

  std::size_t pixels() const { return std::size_t{width} * height; }
};

struct Likeness {
  double difference = 0;  // mean over pixels and colours, 0 to 255
  double similarity = 0;  // mean SSIM, at most 1
  std::size_t pixels = 0;
};

// Over the pixels that either picture covers. Pictures must be of one size. At the rim windows are cut off, and the
// rest of the Gaussian is weighed anew. Without any such pixel the pictures are alike.
Likeness likeness(Picture const& a, Picture const& b);

}  // namespace mirel::pictures
