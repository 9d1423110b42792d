// A libvips image held by a unique_ptr: one reference, dropped once.
#pragma once

#include <vips/vips.h>

#include <memory>

namespace quorvane {

struct VipsImageUnref {
  void operator()(VipsImage* image) const { g_object_unref(image); }
};
using ImagePtr = std::unique_ptr<VipsImage, VipsImageUnref>;

}  // namespace quorvane
