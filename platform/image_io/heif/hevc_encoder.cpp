#include <libheif/heif.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <optional>
#include <string>

#include "platform/image_io/heif/encoder.h"
#include "platform/image_io/heif/hevc_stream.h"

namespace kelvo::heif {
namespace {

template <auto function>
struct Release {
  template <typename T>
  void operator()(T* object) const {
    function(object);
  }
};
using Context = std::unique_ptr<heif_context, Release<heif_context_free>>;
using Image = std::unique_ptr<heif_image, Release<heif_image_release>>;
using EncoderHandle = std::unique_ptr<heif_encoder, Release<heif_encoder_release>>;
using Options = std::unique_ptr<heif_encoding_options, Release<heif_encoding_options_free>>;
using Nclx = std::unique_ptr<heif_color_profile_nclx, Release<heif_nclx_color_profile_free>>;

Result<void> check(const heif_error& error) {
  if (error.code == heif_error_Ok) return {};
  return Error{std::string("the picture cannot be encoded: ") + error.message};
}

Result<Image> makeImage(const Planes& planes) {
  constexpr std::array kChromas = {heif_chroma_monochrome, heif_chroma_420, heif_chroma_422,
                                   heif_chroma_444};
  constexpr std::array kChannels = {heif_channel_Y, heif_channel_Cb, heif_channel_Cr};
  const auto space =
      planes.chroma == Chroma::none ? heif_colorspace_monochrome : heif_colorspace_YCbCr;
  heif_image* created = nullptr;
  const auto made =
      heif_image_create(static_cast<int>(planes.width), static_cast<int>(planes.height), space,
                        kChromas[static_cast<std::size_t>(planes.chroma)], &created);
  if (auto fine = check(made); !fine) return std::move(fine).error();
  Image image(created);
  for (unsigned k = 0; k < planes.count(); ++k) {
    const auto added = heif_image_add_plane(
        created, kChannels[k], static_cast<int>(planes.planeWidth(k)),
        static_cast<int>(planes.planeHeight(k)), static_cast<int>(planes.depth));
    if (auto fine = check(added); !fine) return std::move(fine).error();
    int stride = 0;
    std::uint8_t* const to = heif_image_get_plane(created, kChannels[k], &stride);
    if (to == nullptr) return Error{"there is not enough memory to encode the picture"};
    for (std::uint32_t y = 0; y < planes.planeHeight(k); ++y) {
      const auto row = planes.row(k, y);
      std::uint8_t* const target = to + static_cast<std::ptrdiff_t>(y) * stride;
      if (planes.depth > 8) {
        std::memcpy(target, row.data(), row.size_bytes());
      } else {
        std::transform(row.begin(), row.end(), target,
                       [](std::uint16_t sample) { return static_cast<std::uint8_t>(sample); });
      }
    }
  }
  return image;
}

Result<void> setParameters(heif_encoder* encoder, const Coding& coding) {
  Result<void> result;
  const auto set = [&](const char* name, const std::string& value) {
    if (result) result = check(heif_encoder_set_parameter(encoder, name, value.c_str()));
  };
  heif_encoder_set_logging_level(encoder, 0);
  if (coding.chroma != Chroma::none) {
    constexpr std::array kNames = {"", "420", "422", "444"};
    set("chroma", kNames[static_cast<std::size_t>(coding.chroma)]);
  }
  set("x265:pools", "none");
  set("x265:frame-threads", "1");
  set("preset", "medium");
  if (!coding.lossless) {
    set("x265:qp", std::to_string(coding.quantiser));
    set("x265:ipratio", "1.0");
  }
  if (coding.lossless && result) result = check(heif_encoder_set_lossless(encoder, 1));
  return result;
}

Result<Nclx> makeNclx(const ColorCoding& color) {
  Nclx nclx(heif_nclx_color_profile_alloc());
  if (!nclx) return Error{"there is not enough memory to encode the picture"};
  nclx->color_primaries = static_cast<heif_color_primaries>(color.primaries);
  nclx->transfer_characteristics = static_cast<heif_transfer_characteristics>(color.transfer);
  nclx->matrix_coefficients = static_cast<heif_matrix_coefficients>(color.matrix);
  nclx->full_range_flag = color.fullRange ? 1 : 0;
  return nclx;
}

heif_error append(heif_context*, const void* data, std::size_t size, void* to) {
  const auto* const bytes = static_cast<const std::byte*>(data);
  static_cast<std::vector<std::byte>*>(to)->insert(static_cast<std::vector<std::byte>*>(to)->end(),
                                                   bytes, bytes + size);
  return {heif_error_Ok, heif_suberror_Unspecified, ""};
}

// The one coded item of the file that the library made. Its size is that of the coded picture,
// which the library may have enlarged.
Result<Encoded> takeItem(const std::vector<std::byte>& file, const Planes& planes) {
  const auto structure = readStructure(file);
  if (!structure) return structure.error();
  for (const Item& item : structure->items) {
    const Box* const configuration = structure->property(item, configurationOf(kHevcItem));
    if (item.type != kHevcItem || configuration == nullptr) continue;
    auto data = structure->data(item);
    if (!data) return std::move(data).error();
    const auto record = readHevcConfiguration(configuration->payload);
    const auto units = record ? splitHevcUnits(*data, record->lengthBytes) : std::nullopt;
    const auto coding = units ? readHevcCoding(*record, *units) : std::nullopt;
    if (!coding) break;
    if (coding->size.width != planes.width || coding->size.height != planes.height) {
      return Error{"HEVC pictures of " + std::to_string(planes.width) + " x " +
                   std::to_string(planes.height) + " pixels cannot be encoded"};
    }
    return Encoded{.data = *std::move(data),
                   .configuration = {configuration->payload.begin(), configuration->payload.end()}};
  }
  return Error{"the encoder gave no picture"};
}

}  // namespace

Result<Encoded> encodeHevc(const Planes& planes, const Coding& coding) {
  const Context context(heif_context_alloc());
  heif_encoder* found = nullptr;
  if (!check(heif_context_get_encoder_for_format(context.get(), heif_compression_HEVC, &found))) {
    return Error{"there is no encoder for HEVC on this computer"};
  }
  const EncoderHandle encoder(found);
  if (auto set = setParameters(encoder.get(), coding); !set) return std::move(set).error();
  const auto image = makeImage(planes);
  if (!image) return image.error();
  // The same numbers on both sides: nothing is to be converted.
  const auto nclx = makeNclx(coding.color);
  if (!nclx) return nclx.error();
  heif_image_set_nclx_color_profile(image->get(), nclx->get());
  const Options options(heif_encoding_options_alloc());
  options->output_nclx_profile = nclx->get();
  options->macOS_compatibility_workaround = 0;
  heif_image_handle* handle = nullptr;
  const auto encoded =
      heif_context_encode_image(context.get(), image->get(), encoder.get(), options.get(), &handle);
  if (auto fine = check(encoded); !fine) return std::move(fine).error();
  heif_image_handle_release(handle);
  std::vector<std::byte> file;
  heif_writer writer = {.writer_api_version = 1, .write = &append};
  if (auto fine = check(heif_context_write(context.get(), &writer, &file)); !fine) {
    return std::move(fine).error();
  }
  return takeItem(file, planes);
}

}  // namespace kelvo::heif
