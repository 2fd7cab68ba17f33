#include <aom/aom_encoder.h>
#include <aom/aomcx.h>
#include <dav1d/dav1d.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

#include "platform/image_io/heif/encoder.h"

namespace kelvo::heif {
namespace {

struct FreeImage {
  void operator()(aom_image_t* image) const { aom_img_free(image); }
};
using Image = std::unique_ptr<aom_image_t, FreeImage>;

struct DestroyCodec {
  void operator()(aom_codec_ctx_t* codec) const { aom_codec_destroy(codec); }
};

Error failed(aom_codec_err_t error) {
  return Error{std::string("the picture cannot be encoded: ") + aom_codec_err_to_string(error)};
}

// Of the encoder's 64 quantisers the coarsest that is not coarser than the index, which counts to
// 255: the first 62 are multiples of 4.
unsigned quantiserOf(int index) {
  if (index >= 255) return 63;
  return index >= 249 ? 62 : static_cast<unsigned>(std::clamp(index / 4, 0, 61));
}

unsigned profileOf(Chroma chroma, unsigned depth) {
  if (depth > 10 || chroma == Chroma::c422) return 2;
  return chroma == Chroma::c444 ? 1 : 0;
}

Result<Image> makeImage(const Planes& planes) {
  const bool wide = planes.depth > 8;
  auto format = planes.chroma == Chroma::c444   ? AOM_IMG_FMT_I444
                : planes.chroma == Chroma::c422 ? AOM_IMG_FMT_I422
                                                : AOM_IMG_FMT_I420;
  if (wide) format = static_cast<aom_img_fmt_t>(format | AOM_IMG_FMT_HIGHBITDEPTH);
  Image image(aom_img_alloc(nullptr, format, planes.width, planes.height, 16));
  if (!image) return Error{"there is not enough memory to encode the picture"};
  image->bit_depth = planes.depth;
  image->monochrome = planes.chroma == Chroma::none ? 1 : 0;
  for (unsigned k = 0; k < 3; ++k) {
    const bool present = k < planes.count();
    const std::uint32_t height = k == 0    ? planes.height
                                 : present ? planes.planeHeight(k)
                                           : (planes.height + 1) / 2;
    for (std::uint32_t y = 0; y < height; ++y) {
      std::uint8_t* const to = image->planes[k] + static_cast<std::ptrdiff_t>(y) * image->stride[k];
      if (!present) {
        // Not coded, but looked at.
        std::memset(to, wide ? 0 : 128, static_cast<std::size_t>(image->stride[k]));
        continue;
      }
      const auto row = planes.row(k, y);
      if (wide) {
        std::memcpy(to, row.data(), row.size_bytes());
      } else {
        std::transform(row.begin(), row.end(), to,
                       [](std::uint16_t sample) { return static_cast<std::uint8_t>(sample); });
      }
    }
  }
  return image;
}

aom_codec_enc_cfg_t configure(const aom_codec_enc_cfg_t& defaults, const Planes& planes,
                              const Coding& coding) {
  aom_codec_enc_cfg_t configuration = defaults;
  configuration.g_w = planes.width;
  configuration.g_h = planes.height;
  configuration.g_threads = 1;
  configuration.g_limit = 1;
  configuration.g_lag_in_frames = 0;
  configuration.g_profile = profileOf(planes.chroma, planes.depth);
  configuration.g_bit_depth = static_cast<aom_bit_depth_t>(planes.depth);
  configuration.g_input_bit_depth = planes.depth;
  configuration.monochrome = planes.chroma == Chroma::none ? 1 : 0;
  configuration.rc_end_usage = AOM_Q;
  const unsigned quantiser = coding.lossless ? 0 : quantiserOf(coding.quantiser);
  configuration.rc_min_quantizer = quantiser;
  configuration.rc_max_quantizer = quantiser;
  return configuration;
}

Result<void> control(aom_codec_ctx_t* codec, const Coding& coding) {
  constexpr int kSpeed = 6;
  const auto quantiser = coding.lossless ? 0 : quantiserOf(coding.quantiser);
  const std::array errors = {
      aom_codec_control(codec, AOME_SET_CPUUSED, kSpeed),
      aom_codec_control(codec, AOME_SET_CQ_LEVEL, quantiser),
      aom_codec_control(codec, AV1E_SET_LOSSLESS, coding.lossless ? 1 : 0),
      aom_codec_control(codec, AV1E_SET_COLOR_PRIMARIES, static_cast<int>(coding.color.primaries)),
      aom_codec_control(codec, AV1E_SET_TRANSFER_CHARACTERISTICS,
                        static_cast<int>(coding.color.transfer)),
      aom_codec_control(codec, AV1E_SET_MATRIX_COEFFICIENTS, static_cast<int>(coding.color.matrix)),
      aom_codec_control(codec, AV1E_SET_CHROMA_SAMPLE_POSITION,
                        static_cast<int>(coding.chromaPosition)),
      aom_codec_control(codec, AV1E_SET_COLOR_RANGE, coding.color.fullRange ? 1 : 0)};
  for (const aom_codec_err_t error : errors) {
    if (error != AOM_CODEC_OK) return failed(error);
  }
  return {};
}

// The coded units, without the one that only separates pictures; and the sequence header.
struct Units {
  std::vector<std::byte> all;
  std::vector<std::byte> sequenceHeader;
  Bytes sequencePayload;  // without the unit's own header
};
Units sortUnits(Bytes stream) {
  constexpr unsigned kSequenceHeader = 1;
  constexpr unsigned kTemporalDelimiter = 2;
  Units units;
  while (!stream.empty()) {
    Reader reader(stream);
    const unsigned header = reader.u8();
    if ((header & 4) != 0) reader.u8();
    std::uint64_t size = 0;
    for (unsigned shift = 0, more = 0x80; more != 0 && reader.ok(); shift += 7) {
      const unsigned byte = reader.u8();
      size |= std::uint64_t{byte & 0x7F} << shift;
      more = byte & 0x80;
    }
    const Bytes payload = reader.take(size);
    const Bytes unit = stream.first(stream.size() - reader.rest().size());
    const unsigned type = header >> 3 & 15;
    if (type == kSequenceHeader) {
      units.sequenceHeader.assign(unit.begin(), unit.end());
      units.sequencePayload = payload;
    }
    if (type != kTemporalDelimiter) units.all.insert(units.all.end(), unit.begin(), unit.end());
    stream = reader.rest();
  }
  return units;
}

// The number of the level. The decoder library counts those of the short headers of still pictures
// from elsewhere, so they are read here: 3 bits of profile, 2 flags, 5 bits of level.
unsigned levelOf(const Dav1dSequenceHeader& header, Bytes payload) {
  if (header.reduced_still_picture_header != 0) return Reader(payload).u16() >> 6 & 31;
  const auto& point = header.operating_points[0];
  return static_cast<unsigned>((point.major_level - 2) * 4 + point.minor_level) & 31;
}

// The decoder configuration (AV1 in ISO base media files, 2.3): a summary of the sequence header,
// then that header.
Result<std::vector<std::byte>> configurationFor(const Units& units) {
  Dav1dSequenceHeader header;
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(units.sequenceHeader.data());
  if (units.sequenceHeader.empty() ||
      dav1d_parse_sequence_header(&header, bytes, units.sequenceHeader.size()) != 0) {
    return Error{"the encoder gave no picture"};
  }
  const auto& point = header.operating_points[0];
  const auto bit = [](bool value, unsigned place) { return value ? 1U << place : 0U; };
  const bool mono = header.monochrome != 0;
  Builder to;
  to.number(0x81, 1);
  to.number(static_cast<unsigned>(header.profile) << 5 | levelOf(header, units.sequencePayload), 1);
  to.number(bit(point.tier != 0, 7) | bit(header.hbd > 0, 6) | bit(header.hbd == 2, 5) |
                bit(mono, 4) | bit(header.ss_hor != 0 || mono, 3) |
                bit(header.ss_ver != 0 || mono, 2) | static_cast<unsigned>(header.chr),
            1);
  to.number(0, 1);
  to.append(units.sequenceHeader);
  return to.take();
}

}  // namespace

Result<Encoded> encodeAv1(const Planes& planes, const Coding& coding) {
  aom_codec_iface_t* const interface = aom_codec_av1_cx();
  aom_codec_enc_cfg_t defaults;
  if (const auto error = aom_codec_enc_config_default(interface, &defaults, AOM_USAGE_ALL_INTRA);
      error != AOM_CODEC_OK) {
    return failed(error);
  }
  const auto configuration = configure(defaults, planes, coding);
  aom_codec_ctx_t codec;
  if (const auto error = aom_codec_enc_init(
          &codec, interface, &configuration,
          planes.depth > 8 ? static_cast<aom_codec_flags_t>(AOM_CODEC_USE_HIGHBITDEPTH) : 0);
      error != AOM_CODEC_OK) {
    return failed(error);
  }
  const std::unique_ptr<aom_codec_ctx_t, DestroyCodec> destroyed(&codec);
  if (auto set = control(&codec, coding); !set) return std::move(set).error();
  const auto image = makeImage(planes);
  if (!image) return image.error();
  std::vector<std::byte> stream;
  for (const aom_image_t* const input : {image->get(), static_cast<aom_image_t*>(nullptr)}) {
    if (const auto error = aom_codec_encode(&codec, input, 0, 1, 0); error != AOM_CODEC_OK) {
      return failed(error);
    }
    aom_codec_iter_t iterator = nullptr;
    while (const aom_codec_cx_pkt_t* const packet = aom_codec_get_cx_data(&codec, &iterator)) {
      if (packet->kind != AOM_CODEC_CX_FRAME_PKT) continue;
      const auto* const bytes = static_cast<const std::byte*>(packet->data.frame.buf);
      stream.insert(stream.end(), bytes, bytes + packet->data.frame.sz);
    }
  }
  Units units = sortUnits(stream);
  auto record = configurationFor(units);
  if (!record) return std::move(record).error();
  return Encoded{.data = std::move(units.all), .configuration = *std::move(record)};
}

Result<Encoded> encodePlanes(const Planes& planes, const Coding& coding) {
  return coding.type == kHevcItem ? encodeHevc(planes, coding) : encodeAv1(planes, coding);
}

}  // namespace kelvo::heif
