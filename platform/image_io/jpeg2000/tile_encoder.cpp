#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "platform/image_io/jpeg2000/tiles.h"

namespace kelvo::jpeg2000 {
namespace {

Error refused(const Complaint& complaint) {
  std::string message = "the picture cannot be encoded";
  if (!complaint.empty()) message += ": " + complaint;
  return Error{std::move(message)};
}

// Layers of a file are usually halves of one another; the first is at most this many times smaller
// than all.
constexpr double kSmallestLayer = 64;

// A tile that its old size would spoil, because the adjustment has made detail where there was
// none, gets twice as many bytes until it is as good as this: decibels below full scale, an error
// of 4 of 255 levels.
constexpr double kLeastQuality = 36;
constexpr double kFewestBytes = 64;  // to be doubled

// Starting threads takes longer than encoding fewer pixels.
constexpr std::uint64_t kPixelsForThreads = std::uint64_t{256} * 256;

// The library makes room for whole tiles, however far they reach past the picture, but wants them
// to be as large as its lowest resolution makes necessary.
int tileSide(std::uint32_t used, std::uint32_t whole, unsigned levels) {
  constexpr unsigned kMostLevels = 10;
  const std::uint32_t wanted = levels <= kMostLevels ? 1U << levels : used;
  return static_cast<int>(std::max(used, std::min(whole, wanted)));
}

// Of the main header that the library writes, which it takes off what there is for the pixels.
double headerBytes(std::size_t components, const CodingStyle& style) {
  constexpr std::size_t kComment = 39;
  const std::size_t size = 40 + 3 * components;
  const std::size_t coding = 14 + style.precincts.size();
  const std::size_t quantization = 5 + (style.reversible ? 1 : 2) * (3 * style.levels + 1);
  return static_cast<double>(2 + size + coding + quantization + kComment);
}

}  // namespace

opj_cparameters_t TileEncoder::parameters(const Area& area, double bytes) const {
  const Codestream& old = file_->codestream;
  const Grid& grid = old.grid;
  const CodingStyle& style = old.style;
  opj_cparameters_t parameters;
  opj_set_default_encoder_parameters(&parameters);
  // Places on the grid stay, which decide how pixels are grouped.
  parameters.tile_size_on = OPJ_TRUE;
  parameters.cp_tx0 = static_cast<int>(grid.left + area.left);
  parameters.cp_ty0 = static_cast<int>(grid.top + area.top);
  parameters.cp_tdx = tileSide(area.width, grid.tileWidth, style.levels);
  parameters.cp_tdy = tileSide(area.height, grid.tileHeight, style.levels);
  parameters.csty = static_cast<int>(style.flags);
  parameters.prog_order = static_cast<OPJ_PROG_ORDER>(style.progression);
  parameters.numresolution = static_cast<int>(style.levels) + 1;
  parameters.cblockw_init = 1 << (style.blockWidth + 2);
  parameters.cblockh_init = 1 << (style.blockHeight + 2);
  parameters.mode = static_cast<int>(style.blockStyle);
  parameters.irreversible = style.reversible ? 0 : 1;
  parameters.tcp_mct = static_cast<char>(style.transform);
  // The library wants them from the highest resolution down.
  parameters.res_spec = static_cast<int>(style.precincts.size());
  for (std::size_t i = 0; i < style.precincts.size(); ++i) {
    const unsigned sizes = style.precincts[style.precincts.size() - 1 - i];
    parameters.prcw_init[i] = 1 << (sizes & 0xFU);
    parameters.prch_init[i] = 1 << (sizes >> 4U);
  }
  parameters.tcp_numlayers = static_cast<int>(style.layers);
  const double samples = static_cast<double>(area.width) * area.height *
                         static_cast<double>(old.components.size()) * bits_ / 8;
  const double header = headerBytes(old.components.size(), style);
  parameters.cp_disto_alloc = 1;
  for (unsigned layer = 0; layer < style.layers; ++layer) {
    const double part = style.layers == 1 ? 0 : 1 - static_cast<double>(layer) / (style.layers - 1);
    const double there = std::min(bytes, samples) / std::pow(kSmallestLayer, part);
    parameters.tcp_rates[layer] = static_cast<float>(samples / (there + header));
  }
  // 0: all that there is.
  if (style.reversible || bytes >= samples) parameters.tcp_rates[style.layers - 1] = 0;
  return parameters;
}

unsigned TileEncoder::threadsFor(const Area& area) const {
  return std::uint64_t{area.width} * area.height < kPixelsForThreads ? 1 : threads_;
}

Result<void> TileEncoder::add(std::vector<std::byte> samples) {
  const Grid& grid = file_->codestream.grid;
  const Area area = tileArea(grid, next_ % grid.columns(), next_ / grid.columns());
  auto bytes = static_cast<double>(file_->codestream.tileBytes[next_]);
  auto encoded = encode(samples, area, bytes);
  while (encoded && !file_->codestream.style.reversible) {
    const auto quality = qualityOf(*encoded, samples, area);
    if (!quality) return quality.error();
    if (*quality >= kLeastQuality) break;
    if (bytes >= static_cast<double>(samples.size())) {
      return Error{"a tile cannot be encoded without being spoilt"};
    }
    bytes = std::max(kFewestBytes, 2 * bytes);
    encoded = encode(samples, area, bytes);
  }
  if (!encoded) return std::move(encoded).error();
  ++next_;
  return joiner_.add(*encoded);
}

Result<std::vector<std::byte>> TileEncoder::encode(std::vector<std::byte>& samples,
                                                   const Area& area, double bytes) const {
  const Codestream& old = file_->codestream;
  const Grid& grid = old.grid;
  std::vector<opj_image_cmptparm_t> components(old.components.size());
  for (opj_image_cmptparm_t& component : components) {
    component.dx = 1;
    component.dy = 1;
    component.w = area.width;
    component.h = area.height;
    component.x0 = grid.left + area.left;
    component.y0 = grid.top + area.top;
    component.prec = bits_;
  }
  Writing writing;
  Complaint complaint;
  const Image image(opj_image_tile_create(static_cast<OPJ_UINT32>(components.size()),
                                          components.data(), OPJ_CLRSPC_UNSPECIFIED));
  Stream stream = openStream(writing);
  const Codec codec(opj_create_compress(OPJ_CODEC_J2K));
  if (image == nullptr || stream == nullptr || codec == nullptr) {
    return Error{"there is not enough memory to encode the picture"};
  }
  image->x0 = grid.left + area.left;
  image->y0 = grid.top + area.top;
  image->x1 = image->x0 + area.width;
  image->y1 = image->y0 + area.height;
  listen(codec.get(), complaint);
  opj_cparameters_t chosen = parameters(area, bytes);
  if (opj_setup_encoder(codec.get(), &chosen, image.get()) == OPJ_FALSE) return refused(complaint);
  // Without help it is slower; no reason to fail.
  const unsigned threads = threadsFor(area);
  if (threads > 1) opj_codec_set_threads(codec.get(), static_cast<int>(threads));
  const std::array<const char*, 2> options = {old.packetLengths ? "PLT=YES" : nullptr, nullptr};
  if (opj_encoder_set_extra_options(codec.get(), options.data()) == OPJ_FALSE ||
      opj_start_compress(codec.get(), image.get(), stream.get()) == OPJ_FALSE ||
      opj_write_tile(codec.get(), 0, reinterpret_cast<OPJ_BYTE*>(samples.data()),
                     static_cast<OPJ_UINT32>(samples.size()), stream.get()) == OPJ_FALSE ||
      opj_end_compress(codec.get(), stream.get()) == OPJ_FALSE) {
    return refused(complaint);
  }
  stream.reset();
  return std::move(writing.bytes);
}

// How well a tile decodes to what it was made from, in decibels below full scale.
Result<double> TileEncoder::qualityOf(const std::vector<std::byte>& encoded,
                                      const std::vector<std::byte>& samples,
                                      const Area& area) const {
  auto codestream = readCodestream(encoded);
  if (!codestream) return std::move(codestream).error();
  auto alone = std::make_shared<Jpeg2000File>();
  alone->codestream = *std::move(codestream);
  alone->limits.threads = threadsFor(area);
  TileDecoder decoder(alone);
  const auto decoded = decoder.decode(0, 0);
  if (!decoded) return decoded.error();
  const std::size_t sampleBytes = bits_ > 8 ? 2 : 1;
  const std::byte* from = samples.data();
  double sum = 0;
  for (std::size_t k = 0; k < alone->codestream.components.size(); ++k) {
    const opj_image_comp_t& component = (*decoded)->comps[k];
    const std::size_t count = std::size_t{component.w} * component.h;
    for (std::size_t i = 0; i < count; ++i, from += sampleBytes) {
      std::uint16_t sample = 0;
      std::memcpy(&sample, from, sampleBytes);
      const double error = component.data[i] - static_cast<double>(sample);
      sum += error * error;
    }
  }
  const double full = (1U << bits_) - 1;
  const auto count = static_cast<double>(samples.size()) / static_cast<double>(sampleBytes);
  return 10 * std::log10(full * full * count / std::max(sum, 1e-9));
}

Result<std::vector<std::byte>> TileEncoder::finish() {
  std::vector<std::byte> made = joiner_.finish();
  const auto parsed = readCodestream(made);
  if (!parsed || !parsed->status.cause.empty() || !sameForm(*parsed, file_->codestream)) {
    return Error{"its codestream cannot be written in the form that it has"};
  }
  return made;
}

}  // namespace kelvo::jpeg2000
