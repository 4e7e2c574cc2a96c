// libpng reports failures by longjmp to the point set with setjmp; nothing with
// a destructor may live between the two, so the work is done in plain C style
// inside WriteRows and cleaned up by its caller.
#include "PngWriter.h"

#include <png.h>

#include <csetjmp>
#include <cstdio>

namespace zsff_tools {

namespace {

// libpng's message of the failure that jumped back, kept for the caller.
void OnPngError(png_structp png, png_const_charp message) {
  auto* error = static_cast<char*>(png_get_error_ptr(png));
  std::snprintf(error, 200, "%s", message);
  png_longjmp(png, 1);
}

void OnPngWarning(png_structp, png_const_charp) {}

bool WriteRows(std::FILE* file, const Canvas& canvas, char* error) {
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, error, OnPngError, OnPngWarning);
  if (png == nullptr) {
    std::snprintf(error, 200, "out of memory");
    return false;
  }
  png_infop info = png_create_info_struct(png);
  if (info == nullptr) {
    png_destroy_write_struct(&png, nullptr);
    std::snprintf(error, 200, "out of memory");
    return false;
  }
  if (setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, &info);
    return false;
  }
  png_init_io(png, file);
  png_set_IHDR(png, info, static_cast<png_uint_32>(canvas.Width()),
               static_cast<png_uint_32>(canvas.Height()), 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  const std::size_t stride = static_cast<std::size_t>(canvas.Width()) * 3;
  for (int row = 0; row < canvas.Height(); ++row) {
    png_write_row(png, canvas.Bytes().data() + stride * static_cast<std::size_t>(row));
  }
  png_write_end(png, info);
  png_destroy_write_struct(&png, &info);
  return true;
}

}  // namespace

bool WritePng(const Canvas& canvas, OutputFile& out, std::string& error) {
  if (canvas.Width() <= 0 || canvas.Height() <= 0) {
    error = "an empty picture can't be written";
    return false;
  }
  char message[200] = "";
  if (WriteRows(out.Stream(), canvas, message)) return true;
  // libpng's own words ("Write Error") only when the system gave no reason.
  if (!out.Failed(error)) error = out.Path() + ": " + message;
  return false;
}

}  // namespace zsff_tools
