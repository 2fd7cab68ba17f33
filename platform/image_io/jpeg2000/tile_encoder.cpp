#include <algorithm>
#include <cmath>

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

}  // namespace

opj_cparameters_t TileEncoder::parameters() const {
  const Codestream& old = file_->codestream;
  const CodingStyle& style = old.style;
  opj_cparameters_t parameters;
  opj_set_default_encoder_parameters(&parameters);
  parameters.tile_size_on = OPJ_TRUE;
  parameters.cp_tx0 = static_cast<int>(old.grid.tileLeft);
  parameters.cp_ty0 = static_cast<int>(old.grid.tileTop);
  // The library makes room for whole tiles, however far they reach past the picture.
  parameters.cp_tdx = static_cast<int>(old.grid.usedTileWidth());
  parameters.cp_tdy = static_cast<int>(old.grid.usedTileHeight());
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
  parameters.cp_disto_alloc = 1;
  parameters.tcp_numlayers = static_cast<int>(style.layers);
  // Bytes of the samples for each byte of the old tiles.
  const double samples = static_cast<double>(old.grid.width()) * old.grid.height() *
                         static_cast<double>(old.components.size()) * bits_ / 8;
  const double ratio = samples / static_cast<double>(std::max<std::uint64_t>(1, old.tileBytes));
  for (unsigned layer = 0; layer < style.layers; ++layer) {
    const double part = style.layers == 1 ? 0 : 1 - static_cast<double>(layer) / (style.layers - 1);
    parameters.tcp_rates[layer] =
        static_cast<float>(std::max(1.0, ratio) * std::pow(kSmallestLayer, part));
  }
  // 0: all that there is.
  if (style.reversible || ratio <= 1) parameters.tcp_rates[style.layers - 1] = 0;
  return parameters;
}

Result<void> TileEncoder::open() {
  const Codestream& old = file_->codestream;
  const Grid& grid = old.grid;
  std::vector<opj_image_cmptparm_t> components(old.components.size());
  for (opj_image_cmptparm_t& component : components) {
    component.dx = 1;
    component.dy = 1;
    component.w = grid.width();
    component.h = grid.height();
    component.x0 = grid.left;
    component.y0 = grid.top;
    component.prec = bits_;
  }
  image_.reset(opj_image_tile_create(static_cast<OPJ_UINT32>(components.size()), components.data(),
                                     OPJ_CLRSPC_UNSPECIFIED));
  stream_ = openStream(writing_);
  codec_.reset(opj_create_compress(OPJ_CODEC_J2K));
  if (image_ == nullptr || stream_ == nullptr || codec_ == nullptr) {
    return Error{"there is not enough memory to encode the picture"};
  }
  image_->x0 = grid.left;
  image_->y0 = grid.top;
  image_->x1 = grid.right;
  image_->y1 = grid.bottom;
  listen(codec_.get(), complaint_);
  opj_cparameters_t chosen = parameters();
  if (opj_setup_encoder(codec_.get(), &chosen, image_.get()) == OPJ_FALSE) {
    return refused(complaint_);
  }
  if (threads_ > 1) opj_codec_set_threads(codec_.get(), static_cast<int>(threads_));
  std::vector<const char*> options;
  if (old.packetLengths) options.push_back("PLT=YES");
  if (old.tileLengths) options.push_back("TLM=YES");
  options.push_back(nullptr);
  if (opj_encoder_set_extra_options(codec_.get(), options.data()) == OPJ_FALSE ||
      opj_start_compress(codec_.get(), image_.get(), stream_.get()) == OPJ_FALSE) {
    return refused(complaint_);
  }
  return {};
}

Result<void> TileEncoder::add(std::vector<std::byte> samples) {
  if (codec_ == nullptr) {
    if (auto opened = open(); !opened) return opened;
  }
  if (opj_write_tile(codec_.get(), next_++, reinterpret_cast<OPJ_BYTE*>(samples.data()),
                     static_cast<OPJ_UINT32>(samples.size()), stream_.get()) == OPJ_FALSE) {
    return refused(complaint_);
  }
  return {};
}

Result<std::vector<std::byte>> TileEncoder::finish() {
  if (codec_ == nullptr || opj_end_compress(codec_.get(), stream_.get()) == OPJ_FALSE) {
    return refused(complaint_);
  }
  stream_.reset();
  auto made = withKeptSegments(writing_.bytes, file_->codestream);
  if (!made) return made;
  const auto parsed = readCodestream(*made);
  if (!parsed || !sameForm(*parsed, file_->codestream)) {
    return Error{"its codestream cannot be written in the form that it has"};
  }
  return made;
}

}  // namespace kelvo::jpeg2000
