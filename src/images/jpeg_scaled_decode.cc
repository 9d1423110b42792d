#include "images/jpeg_scaled_decode.h"

// jpeglib.h needs FILE and size_t declared before it.
#include <algorithm>
#include <csetjmp>
#include <cstddef>
#include <cstdio>

#include <jpeglib.h>

namespace quorvane {
namespace {

// libjpeg reports failure by calling back and expects no return: the
// decoding jumps out to where it began.
struct Failure {
  jpeg_error_mgr manager;
  std::jmp_buf landing;
};

[[noreturn]] void leave(j_common_ptr info) {
  std::longjmp(reinterpret_cast<Failure*>(info->err)->landing, 1);
}

// A warning (corrupt data, a file cut short) ends this decoding too.
void onMessage(j_common_ptr info, int level) {
  if (level < 0) leave(info);
}

bool isPlain(const jpeg_decompress_struct& info) {
  if (info.progressive_mode || info.arith_code) return false;
  return (info.jpeg_color_space == JCS_YCbCr && info.num_components == 3) ||
         (info.jpeg_color_space == JCS_GRAYSCALE && info.num_components == 1);
}

}  // namespace

int jpegScaleFor(std::int64_t longEdge, int targetLongEdge) {
  for (int n = 1; n < 8; ++n) {
    if ((longEdge * n + 7) / 8 >= targetLongEdge) return n;
  }
  return 8;
}

// No object with a destructor lives between setjmp and a jump to it: the
// image is owned by a plain pointer until the last call that can fail.
ImagePtr decodeScaledJpeg(std::span<const std::uint8_t> source, int targetLongEdge) {
  jpeg_decompress_struct info{};
  Failure failure{};
  info.err = jpeg_std_error(&failure.manager);
  failure.manager.error_exit = leave;
  failure.manager.emit_message = onMessage;
  VipsImage* volatile image = nullptr;
  if (setjmp(failure.landing) != 0) {
    jpeg_destroy_decompress(&info);
    if (image != nullptr) g_object_unref(image);
    return {};
  }
  jpeg_create_decompress(&info);
  jpeg_mem_src(&info, source.data(), static_cast<unsigned long>(source.size()));
  jpeg_read_header(&info, TRUE);
  const int scale =
      jpegScaleFor(std::max<std::int64_t>(info.image_width, info.image_height), targetLongEdge);
  if (!isPlain(info) || scale >= 8) {
    jpeg_destroy_decompress(&info);
    return {};
  }
  info.scale_num = static_cast<unsigned>(scale);
  info.scale_denom = 8;
  const bool grey = info.jpeg_color_space == JCS_GRAYSCALE;
  info.out_color_space = grey ? JCS_GRAYSCALE : JCS_RGB;
  jpeg_start_decompress(&info);
  image = vips_image_new_memory();
  vips_image_init_fields(image, static_cast<int>(info.output_width),
                         static_cast<int>(info.output_height), info.output_components,
                         VIPS_FORMAT_UCHAR, VIPS_CODING_NONE,
                         grey ? VIPS_INTERPRETATION_B_W : VIPS_INTERPRETATION_sRGB, 1.0, 1.0);
  if (vips_image_write_prepare(image) != 0) leave(reinterpret_cast<j_common_ptr>(&info));
  while (info.output_scanline < info.output_height) {
    JSAMPROW row = VIPS_IMAGE_ADDR(image, 0, static_cast<int>(info.output_scanline));
    jpeg_read_scanlines(&info, &row, 1);
  }
  jpeg_finish_decompress(&info);
  jpeg_destroy_decompress(&info);
  return ImagePtr(image);
}

}  // namespace quorvane
