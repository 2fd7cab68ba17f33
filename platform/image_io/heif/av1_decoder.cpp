#include <dav1d/dav1d.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>

#include "platform/image_io/heif/decoder.h"

namespace kelvo::heif {
namespace {

struct CloseDecoder {
  void operator()(Dav1dContext* decoder) const { dav1d_close(&decoder); }
};
using Decoder = std::unique_ptr<Dav1dContext, CloseDecoder>;

struct Input {
  Dav1dData data = {};
  ~Input() { dav1d_data_unref(&data); }
};
struct Output {
  Dav1dPicture picture = {};
  ~Output() { dav1d_picture_unref(&picture); }
};

Error failed() { return Error{"the picture data are damaged"}; }

Result<void> decodeFirst(Dav1dContext* decoder, Bytes data, Dav1dPicture& picture) {
  if (data.empty()) return Error{"the picture data are missing"};
  Input input;
  std::uint8_t* const to = dav1d_data_create(&input.data, data.size());
  if (to == nullptr) return Error{"there is not enough memory to decode the picture"};
  std::memcpy(to, data.data(), data.size());
  bool found = false;
  while (true) {
    int sent = 0;
    if (input.data.sz > 0) {
      sent = dav1d_send_data(decoder, &input.data);
      if (sent < 0 && sent != DAV1D_ERR(EAGAIN)) return failed();
    }
    Output output;
    const int got = dav1d_get_picture(decoder, &output.picture);
    if (got == 0) {
      if (found) return Error{"there is more than one picture in a picture's data"};
      found = true;
      std::swap(picture, output.picture);
    } else if (got != DAV1D_ERR(EAGAIN) || sent != 0) {
      return failed();
    } else if (input.data.sz == 0) {
      if (!found) return Error{"the picture data are damaged: there is no picture in them"};
      return {};
    }
  }
}

Planes copyPlanes(const Dav1dPicture& picture) {
  constexpr Chroma kFormats[] = {Chroma::none, Chroma::c420, Chroma::c422, Chroma::c444};
  Planes planes(static_cast<std::uint32_t>(picture.p.w), static_cast<std::uint32_t>(picture.p.h),
                kFormats[picture.p.layout], static_cast<unsigned>(picture.p.bpc));
  for (unsigned k = 0; k < planes.count(); ++k) {
    const auto* const from = static_cast<const std::uint8_t*>(picture.data[k]);
    const std::ptrdiff_t stride = picture.stride[k == 0 ? 0 : 1];
    for (std::uint32_t y = 0; y < planes.planeHeight(k); ++y) {
      const std::span<std::uint16_t> to = planes.row(k, y);
      const std::uint8_t* const row = from + static_cast<std::ptrdiff_t>(y) * stride;
      if (planes.depth > 8) {
        std::memcpy(to.data(), row, to.size_bytes());
      } else {
        std::copy(row, row + to.size(), to.begin());
      }
    }
  }
  return planes;
}

}  // namespace

Result<Decoded> decodeAv1(Bytes configuration, Bytes data, std::uint32_t maxPixels) {
  Dav1dSettings settings;
  dav1d_default_settings(&settings);
  settings.n_threads = 1;
  settings.max_frame_delay = 1;
  settings.all_layers = 0;
  settings.frame_size_limit = maxPixels;
  settings.logger.callback = nullptr;
  Dav1dContext* opened = nullptr;
  if (dav1d_open(&opened, &settings) != 0) return Error{"the decoder cannot be started"};
  const Decoder decoder(opened);
  // The configuration may hold the header that the data then leave out.
  constexpr std::size_t kConfigurationBytes = 4;
  std::vector<std::byte> stream;
  if (configuration.size() > kConfigurationBytes) {
    const Bytes units = configuration.subspan(kConfigurationBytes);
    stream.assign(units.begin(), units.end());
  }
  stream.insert(stream.end(), data.begin(), data.end());
  Output output;
  if (auto done = decodeFirst(decoder.get(), stream, output.picture); !done) {
    return std::move(done).error();
  }
  const Dav1dPicture& picture = output.picture;
  if (picture.seq_hdr->num_operating_points > 1) return Error{"layered pictures are not supported"};
  Decoded decoded;
  decoded.planes = copyPlanes(picture);
  decoded.coding = {.type = kAv1Item,
                    .chroma = decoded.planes.chroma,
                    .depth = decoded.planes.depth,
                    .lossless = picture.frame_hdr->all_lossless != 0,
                    .quantiser = picture.frame_hdr->quant.yac,
                    .color = {.primaries = static_cast<unsigned>(picture.seq_hdr->pri),
                              .transfer = static_cast<unsigned>(picture.seq_hdr->trc),
                              .matrix = static_cast<unsigned>(picture.seq_hdr->mtrx),
                              .fullRange = picture.seq_hdr->color_range != 0},
                    .chromaPosition = static_cast<unsigned>(picture.seq_hdr->chr)};
  return decoded;
}

bool av1UnitsAddUp(Bytes data) {
  Reader reader(data);
  while (reader.ok() && !reader.rest().empty()) {
    const unsigned header = reader.u8();
    if ((header & 0x80) != 0) return false;
    if ((header & 0x04) != 0) reader.u8();
    if ((header & 0x02) == 0) return true;  // reaches to the end
    std::uint64_t size = 0;
    for (unsigned i = 0; i < 8; ++i) {
      const unsigned byte = reader.u8();
      size |= std::uint64_t{byte & 0x7F} << (7 * i);
      if ((byte & 0x80) == 0) break;
    }
    if (size > reader.rest().size()) return false;
    reader.take(size);
  }
  return reader.ok() && !data.empty();
}

}  // namespace kelvo::heif
