// JPEG strips and tiles are encoded with libjpeg itself: libtiff would compute new quantisation
// tables from a quality number.
#include <algorithm>
#include <array>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <numeric>
#include <span>
#include <string>
#include <utility>

// After <cstdio>, which it needs.
#include <jpeglib.h>

#include "platform/image_io/jpeg/huffman_tables.h"
#include "platform/image_io/tiff/strile_encoder.h"
#include "platform/image_io/tiff/tags.h"

namespace kelvo::tiff {
namespace {

struct ErrorManager {
  jpeg_error_mgr base{};
  std::jmp_buf jump{};
  std::array<char, JMSG_LENGTH_MAX> message{};

  static void onExit(j_common_ptr state) {
    auto* const self = reinterpret_cast<ErrorManager*>(state->err);
    self->base.format_message(state, self->message.data());
    std::longjmp(self->jump, 1);
  }
  static void onMessage(j_common_ptr, int) {}

  jpeg_error_mgr* prepare() {
    jpeg_std_error(&base);
    base.error_exit = onExit;
    base.emit_message = onMessage;
    return &base;
  }
};

// The headers of an old strip or tile.
class StrileHeader {
 public:
  StrileHeader() {
    state_.err = errors_.prepare();
    if (setjmp(errors_.jump) == 0) jpeg_create_decompress(&state_);
  }
  StrileHeader(const StrileHeader&) = delete;
  StrileHeader& operator=(const StrileHeader&) = delete;
  ~StrileHeader() { jpeg_destroy_decompress(&state_); }

  // The tables shared by all striles, if there are any; read before anything else.
  bool readTables(std::span<const std::byte> tables) {
    if (setjmp(errors_.jump) != 0) return false;
    setSource(tables);
    const bool only = jpeg_read_header(&state_, FALSE) == JPEG_HEADER_TABLES_ONLY;
    jpeg_abort_decompress(&state_);
    return only;
  }
  bool readStrile(std::span<const std::byte> strile) {
    jpeg_abort_decompress(&state_);
    if (setjmp(errors_.jump) != 0) return false;
    setSource(strile);
    return jpeg_read_header(&state_, TRUE) == JPEG_HEADER_OK;
  }
  [[nodiscard]] const jpeg_decompress_struct& state() const { return state_; }

 private:
  void setSource(std::span<const std::byte> bytes) {
    jpeg_mem_src(&state_, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
  }

  ErrorManager errors_;
  jpeg_decompress_struct state_{};
};

// libjpeg's encoder divides by eight times these numbers in 16 bits; its decoder takes any.
constexpr unsigned kMostQuantisation = 8191;

bool canEncodeWith(const JQUANT_TBL& table) {
  return std::all_of(std::begin(table.quantval), std::end(table.quantval),
                     [](unsigned value) { return value != 0 && value <= kMostQuantisation; });
}

bool serves(const JHUFF_TBL* table, jpeg::HuffmanKind kind) {
  if (table == nullptr) return false;
  // Element 0 is not used.
  const auto count = std::accumulate(std::begin(table->bits) + 1, std::end(table->bits), 0U);
  return count <= std::size(table->huffval) &&
         jpeg::isComplete(std::span(table->huffval).first(count), kind);
}

bool sameTable(const JQUANT_TBL* a, const JQUANT_TBL* b) {
  return a != nullptr && b != nullptr &&
         std::memcmp(a->quantval, b->quantval, sizeof a->quantval) == 0;
}

class JpegStrileEncoder final : public StrileEncoder {
 public:
  JpegStrileEncoder(std::shared_ptr<const TiffFile> file, std::size_t frame,
                    std::vector<Extent> striles)
      : file_(std::move(file)), picture_(*file_->picture(frame)), striles_(std::move(striles)) {
    if (const Entry* const entry = file_->frames()[frame].find(kJpegTables)) {
      tables_ = valueBytes(file_->view(), *entry);
    }
    state_.err = errors_.prepare();
    if (setjmp(errors_.jump) == 0) jpeg_create_compress(&state_);
  }
  JpegStrileEncoder(const JpegStrileEncoder&) = delete;
  JpegStrileEncoder& operator=(const JpegStrileEncoder&) = delete;
  ~JpegStrileEncoder() override {
    jpeg_destroy_compress(&state_);
    std::free(out_);
  }

  Result<void> readTables() {
    if (!tables_.empty() && (!shared_.readTables(tables_) || !old_.readTables(tables_))) {
      return Error{"the shared JPEG tables are damaged"};
    }
    return {};
  }

  Result<std::span<const std::byte>> encode(std::uint32_t index, std::uint32_t rows,
                                            std::span<std::byte> samples) override {
    const Extent& extent = striles_[index];
    const auto strile = file_->view().bytes.subspan(static_cast<std::size_t>(extent.offset),
                                                    static_cast<std::size_t>(extent.length));
    if (!old_.readStrile(strile)) return Error{"the JPEG header of a strip or tile is damaged"};
    const jpeg_decompress_struct& old = old_.state();
    if (old.data_precision != 8 ||
        static_cast<std::uint32_t>(old.num_components) != picture_.planeSamples()) {
      return Error{"a JPEG strip or tile has other samples than its directory says"};
    }
    for (const JQUANT_TBL* const table : old.quant_tbl_ptrs) {
      if (table != nullptr && !canEncodeWith(*table)) {
        return Error{"a JPEG quantisation table makes no sense"};
      }
    }
    if (!compress(rows, samples)) {
      return Error{"the pixels could not be encoded: " + std::string(errors_.message.data())};
    }
    return std::span<const std::byte>(reinterpret_cast<const std::byte*>(out_), outBytes_);
  }

 private:
  // Only trivial locals: an error jumps out of here.
  bool compress(std::uint32_t rows, std::span<std::byte> samples) {
    std::free(out_);
    out_ = nullptr;
    outBytes_ = 0;
    if (setjmp(errors_.jump) != 0) {
      jpeg_abort_compress(&state_);
      return false;
    }
    jpeg_mem_dest(&state_, &out_, &outBytes_);
    state_.image_width = picture_.strileWidth;
    state_.image_height = rows;
    state_.input_components = static_cast<int>(picture_.planeSamples());
    configure();
    jpeg_start_compress(&state_, FALSE);
    const std::size_t rowBytes = std::size_t{picture_.strileWidth} * picture_.planeSamples();
    while (state_.next_scanline < state_.image_height) {
      JSAMPROW row = reinterpret_cast<JSAMPROW>(samples.data() + state_.next_scanline * rowBytes);
      jpeg_write_scanlines(&state_, &row, 1);
    }
    jpeg_finish_compress(&state_);
    return true;
  }

  void configure() {
    const jpeg_decompress_struct& old = old_.state();
    const bool converted = picture_.photometric == kYCbCr;
    state_.in_color_space = converted ? JCS_RGB : JCS_UNKNOWN;
    jpeg_set_defaults(&state_);
    jpeg_set_colorspace(&state_, converted ? JCS_YCbCr : JCS_UNKNOWN);
    state_.write_JFIF_header = old.saw_JFIF_marker;
    state_.write_Adobe_marker = old.saw_Adobe_marker;
    state_.restart_interval = old.restart_interval;
    state_.arith_code = old.arith_code;
    for (int i = 0; i < state_.num_components; ++i) {
      jpeg_component_info& component = state_.comp_info[i];
      component.component_id = old.comp_info[i].component_id;
      component.h_samp_factor = old.comp_info[i].h_samp_factor;
      component.v_samp_factor = old.comp_info[i].v_samp_factor;
      component.quant_tbl_no = old.comp_info[i].quant_tbl_no;
    }
    for (int i = 0; i < NUM_QUANT_TBLS; ++i) {
      const JQUANT_TBL* const table = old.quant_tbl_ptrs[i];
      if (table == nullptr) continue;
      if (state_.quant_tbl_ptrs[i] == nullptr) {
        state_.quant_tbl_ptrs[i] = jpeg_alloc_quant_table(reinterpret_cast<j_common_ptr>(&state_));
      }
      std::memcpy(state_.quant_tbl_ptrs[i]->quantval, table->quantval, sizeof table->quantval);
      state_.quant_tbl_ptrs[i]->sent_table =
          sameTable(table, shared_.state().quant_tbl_ptrs[i]) ? TRUE : FALSE;
    }
    state_.optimize_coding = useSharedHuffmanTables() ? FALSE : TRUE;
    if (old.progressive_mode) jpeg_simple_progression(&state_);
  }

  // Whether the shared tables serve every component; if so, strips come without tables.
  // Tables that were made for the old pixels may lack codes for the new ones.
  bool useSharedHuffmanTables() {
    const jpeg_decompress_struct& shared = shared_.state();
    if (old_.state().progressive_mode || state_.arith_code) return false;
    for (int i = 0; i < state_.num_components; ++i) {
      const jpeg_component_info& component = state_.comp_info[i];
      if (!serves(shared.dc_huff_tbl_ptrs[component.dc_tbl_no], jpeg::HuffmanKind::dc) ||
          !serves(shared.ac_huff_tbl_ptrs[component.ac_tbl_no], jpeg::HuffmanKind::ac)) {
        return false;
      }
    }
    for (int i = 0; i < NUM_HUFF_TBLS; ++i) {
      share(shared.dc_huff_tbl_ptrs[i], state_.dc_huff_tbl_ptrs[i]);
      share(shared.ac_huff_tbl_ptrs[i], state_.ac_huff_tbl_ptrs[i]);
    }
    return true;
  }

  void share(const JHUFF_TBL* from, JHUFF_TBL*& to) {
    if (from == nullptr) return;
    if (to == nullptr) to = jpeg_alloc_huff_table(reinterpret_cast<j_common_ptr>(&state_));
    std::memcpy(to->bits, from->bits, sizeof from->bits);
    std::memcpy(to->huffval, from->huffval, sizeof from->huffval);
    to->sent_table = TRUE;
  }

  std::shared_ptr<const TiffFile> file_;
  Picture picture_;
  std::vector<Extent> striles_;
  std::span<const std::byte> tables_;
  StrileHeader shared_;  // the shared tables alone
  StrileHeader old_;     // those and the strile that is being replaced
  ErrorManager errors_;
  jpeg_compress_struct state_{};
  unsigned char* out_ = nullptr;
  unsigned long outBytes_ = 0;
};

}  // namespace

Result<std::unique_ptr<StrileEncoder>> makeJpegStrileEncoder(std::shared_ptr<const TiffFile> file,
                                                             std::size_t frame) {
  auto striles = file->striles(frame);
  if (!striles) return std::move(striles).error();
  auto encoder = std::make_unique<JpegStrileEncoder>(std::move(file), frame, *std::move(striles));
  if (auto read = encoder->readTables(); !read) return std::move(read).error();
  return std::unique_ptr<StrileEncoder>(std::move(encoder));
}

}  // namespace kelvo::tiff
