#include <libde265/de265.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "platform/image_io/heif/decoder.h"
#include "platform/image_io/heif/hevc_stream.h"

namespace kelvo::heif {
namespace {

struct FreeDecoder {
  void operator()(de265_decoder_context* decoder) const { de265_free_decoder(decoder); }
};
using Decoder = std::unique_ptr<de265_decoder_context, FreeDecoder>;

Error failed(de265_error error) {
  return Error{std::string("the picture data are damaged: ") + de265_get_error_text(error)};
}

// Harmless: they speak of how the decoder works, not of the picture.
bool isHarmless(de265_error warning) {
  return warning == DE265_WARNING_NO_WPP_CANNOT_USE_MULTITHREADING ||
         warning == DE265_WARNING_NUMBER_OF_THREADS_LIMITED_TO_MAXIMUM;
}

Result<void> checkWarnings(de265_decoder_context* decoder) {
  for (de265_error warning = de265_get_warning(decoder); warning != DE265_OK;
       warning = de265_get_warning(decoder)) {
    if (!isHarmless(warning)) return failed(warning);
  }
  return {};
}

Planes copyPlanes(const de265_image* image) {
  constexpr Chroma kFormats[] = {Chroma::none, Chroma::c420, Chroma::c422, Chroma::c444};
  Planes planes(static_cast<std::uint32_t>(de265_get_image_width(image, 0)),
                static_cast<std::uint32_t>(de265_get_image_height(image, 0)),
                kFormats[de265_get_chroma_format(image) & 3],
                static_cast<unsigned>(de265_get_bits_per_pixel(image, 0)));
  for (unsigned k = 0; k < planes.count(); ++k) {
    const int channel = static_cast<int>(k);
    int stride = 0;
    const std::uint8_t* const from = de265_get_image_plane(image, channel, &stride);
    const auto height = static_cast<std::uint32_t>(de265_get_image_height(image, channel));
    const auto width = static_cast<std::uint32_t>(de265_get_image_width(image, channel));
    const bool wide = de265_get_bits_per_pixel(image, channel) > 8;
    for (std::uint32_t y = 0; y < std::min(height, planes.planeHeight(k)); ++y) {
      const std::span<std::uint16_t> to = planes.row(k, y);
      const std::uint8_t* const row = from + static_cast<std::ptrdiff_t>(y) * stride;
      const std::size_t count = std::min<std::size_t>(width, to.size());
      if (wide) {
        std::memcpy(to.data(), row, 2 * count);
      } else {
        std::copy(row, row + count, to.begin());
      }
    }
  }
  return planes;
}

ColorCoding colorOf(const de265_image* image) {
  const auto number = [](int value) { return static_cast<unsigned>(value); };
  return {.primaries = number(de265_get_image_colour_primaries(image)),
          .transfer = number(de265_get_image_transfer_characteristics(image)),
          .matrix = number(de265_get_image_matrix_coefficients(image)),
          .fullRange = de265_get_image_full_range_flag(image) != 0};
}

}  // namespace

Result<Decoded> decodeHevc(Bytes configuration, Bytes data) {
  const auto record = readHevcConfiguration(configuration);
  if (!record) return Error{"a picture's decoder configuration is damaged"};
  const auto units = splitHevcUnits(data, record->lengthBytes);
  if (!units) return Error{"the data of a picture are damaged"};
  const auto coding = readHevcCoding(*record, *units);
  if (!coding) return Error{"the headers of a picture are damaged"};

  const Decoder decoder(de265_new_decoder());
  if (!decoder) return Error{"the decoder cannot be started"};
  de265_set_parameter_bool(decoder.get(), DE265_DECODER_PARAM_BOOL_SEI_CHECK_HASH, 1);
  const auto push = [&](Bytes unit) {
    return de265_push_NAL(decoder.get(), unit.data(), static_cast<int>(unit.size()), 0, nullptr);
  };
  for (const Bytes unit : record->units) {
    if (const de265_error error = push(unit); error != DE265_OK) return failed(error);
  }
  for (const Bytes unit : *units) {
    if (const de265_error error = push(unit); error != DE265_OK) return failed(error);
  }
  if (const de265_error error = de265_flush_data(decoder.get()); error != DE265_OK) {
    return failed(error);
  }
  Decoded decoded;
  int pictures = 0;
  // Until pictures are taken out, the decoder asks to be called again. It is never called more
  // often than there can be a reason for.
  std::size_t calls = 2 * (record->units.size() + units->size()) + 16;
  for (int more = 1; more != 0 && calls > 0; --calls) {
    const de265_error error = de265_decode(decoder.get(), &more);
    if (error == DE265_ERROR_WAITING_FOR_INPUT_DATA) break;
    if (error != DE265_OK) return failed(error);
    const de265_image* const image = de265_get_next_picture(decoder.get());
    if (image == nullptr) continue;
    if (++pictures > 1) return Error{"there is more than one picture in a picture's data"};
    decoded.planes = copyPlanes(image);
    decoded.coding.color = colorOf(image);
    de265_release_next_picture(decoder.get());
  }
  if (auto fine = checkWarnings(decoder.get()); !fine) return std::move(fine).error();
  if (pictures == 0) return Error{"the picture data are damaged: there is no picture in them"};
  decoded.coding.type = kHevcItem;
  decoded.coding.chroma = decoded.planes.chroma;
  decoded.coding.depth = decoded.planes.depth;
  decoded.coding.lossless = coding->lossless;
  decoded.coding.quantiser = std::clamp(coding->quantiser, 0, 51);
  return decoded;
}

}  // namespace kelvo::heif
