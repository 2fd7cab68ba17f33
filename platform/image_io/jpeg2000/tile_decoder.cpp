#include <algorithm>

#include "platform/image_io/jpeg2000/tiles.h"

namespace kelvo::jpeg2000 {

Area tileArea(const Grid& grid, std::uint32_t column, std::uint32_t row) {
  const auto side = [](std::uint32_t origin, std::uint32_t size, std::uint32_t index,
                       std::uint32_t first, std::uint32_t end) {
    const std::uint64_t begin = std::uint64_t{origin} + std::uint64_t{size} * index;
    return std::pair(static_cast<std::uint32_t>(std::max<std::uint64_t>(begin, first)),
                     static_cast<std::uint32_t>(std::min<std::uint64_t>(begin + size, end)));
  };
  const auto [left, right] = side(grid.tileLeft, grid.tileWidth, column, grid.left, grid.right);
  const auto [top, bottom] = side(grid.tileTop, grid.tileHeight, row, grid.top, grid.bottom);
  return {.left = left - grid.left,
          .top = top - grid.top,
          .width = right - left,
          .height = bottom - top};
}

Error TileDecoder::damaged() const {
  std::string message = "the picture data are damaged";
  if (!complaint_.empty()) message += ": " + complaint_;
  return Error{std::move(message)};
}

Result<void> TileDecoder::open() {
  reading_.bytes = file_->codestream.bytes;
  stream_ = openStream(reading_);
  codec_.reset(opj_create_decompress(OPJ_CODEC_J2K));
  if (stream_ == nullptr || codec_ == nullptr) {
    return Error{"there is not enough memory to decode the picture"};
  }
  listen(codec_.get(), complaint_);
  opj_dparameters_t parameters;
  opj_set_default_decoder_parameters(&parameters);
  opj_image_t* image = nullptr;
  if (opj_setup_decoder(codec_.get(), &parameters) == OPJ_FALSE ||
      opj_decoder_set_strict_mode(codec_.get(), OPJ_TRUE) == OPJ_FALSE) {
    return damaged();
  }
  // Without help it is slower; no reason to fail.
  if (file_->limits.threads > 1) {
    opj_codec_set_threads(codec_.get(), static_cast<int>(file_->limits.threads));
  }
  const bool read = opj_read_header(stream_.get(), codec_.get(), &image) == OPJ_TRUE;
  image_.reset(image);
  if (!read || !complaint_.empty()) return damaged();
  return {};
}

Result<const opj_image_t*> TileDecoder::decode(std::uint32_t column, std::uint32_t row) {
  if (codec_ == nullptr) {
    if (auto opened = open(); !opened) return std::move(opened).error();
  }
  const Grid& grid = file_->codestream.grid;
  if (opj_get_decoded_tile(codec_.get(), stream_.get(), image_.get(),
                           row * grid.columns() + column) == OPJ_FALSE ||
      !complaint_.empty()) {
    return damaged();
  }
  const Area area = tileArea(grid, column, row);
  for (std::size_t i = 0; i < file_->codestream.components.size(); ++i) {
    const opj_image_comp_t& component = image_->comps[i];
    if (i >= image_->numcomps || component.data == nullptr || component.w != area.width ||
        component.h != area.height) {
      return damaged();
    }
  }
  return static_cast<const opj_image_t*>(image_.get());
}

}  // namespace kelvo::jpeg2000
