#include "platform/image_io/jpeg/jpeg_compressor.h"

#include <algorithm>
#include <array>

#include "platform/image_io/jpeg/huffman_tables.h"
#include "platform/image_io/output_file.h"

#include <jerror.h>

namespace kelvo::jpeg {
namespace {

constexpr std::size_t kBufferBytes = std::size_t{64} << 10;

// Up to this size a file whose tables were made for it gets tables made for it again, which needs
// all its coefficients at once (at most 1.5 MiB): in a small file the completed tables themselves,
// some 700 bytes, would weigh too much.
constexpr std::uint64_t kSmallPixels = std::uint64_t{512} * 512;

// Whether the scans send every bit of every coefficient: pictures may leave some out that were 0,
// and after the adjustment they may not be.
bool scansAreComplete(const Structure& structure) {
  constexpr int kNotSent = -1;
  std::vector<std::array<int, 64>> lowestBit(structure.components.size());
  for (auto& coefficients : lowestBit) coefficients.fill(kNotSent);
  for (const Scan& scan : structure.scans) {
    if (scan.spectralStart > scan.spectralEnd || scan.spectralEnd > 63) return false;
    for (const std::uint8_t component : scan.components) {
      for (std::size_t k = scan.spectralStart; k <= scan.spectralEnd; ++k) {
        int& bit = lowestBit[component][k];
        // In the order the standard asks for, once.
        const bool follows = scan.approximationHigh == 0
                                 ? bit == kNotSent
                                 : bit == scan.approximationHigh &&
                                       scan.approximationLow + 1 == scan.approximationHigh;
        if (!follows) return false;
        bit = scan.approximationLow;
      }
    }
  }
  return std::all_of(lowestBit.begin(), lowestBit.end(), [](const auto& coefficients) {
    return std::all_of(coefficients.begin(), coefficients.end(), [](int bit) { return bit == 0; });
  });
}

// Coded units in one of their rows: of one component its blocks, of several a group of blocks.
std::uint32_t unitsAcross(const Structure& structure, const Scan& scan) {
  std::uint32_t widest = 1;
  for (const Component& component : structure.components) {
    widest = std::max<std::uint32_t>(widest, component.horizontalSampling);
  }
  const auto ceilingOf = [](std::uint32_t a, std::uint32_t b) { return (a + b - 1) / b; };
  if (scan.components.size() > 1) return ceilingOf(structure.width, 8 * widest);
  const Component& only = structure.components[scan.components.front()];
  return ceilingOf(ceilingOf(structure.width * only.horizontalSampling, widest), 8);
}

// Restart intervals of scans with different components are different numbers where they stand for
// the same number of rows. 0 if they do not.
std::uint32_t restartRows(const Structure& structure) {
  std::uint32_t rows = 0;
  for (const Scan& scan : structure.scans) {
    const std::uint32_t across = unitsAcross(structure, scan);
    if (scan.restartInterval == 0 || scan.restartInterval % across != 0) return 0;
    const std::uint32_t here = scan.restartInterval / across;
    if (rows != 0 && rows != here) return 0;
    rows = here;
  }
  return rows;
}

J_COLOR_SPACE colorSpaceOf(Coding coding) { return coding == Coding::rgb ? JCS_RGB : JCS_YCbCr; }

void setHuffmanTable(JHUFF_TBL*& slot, jpeg_compress_struct& info, const HuffmanTable& table) {
  if (slot == nullptr) slot = jpeg_alloc_huff_table(reinterpret_cast<j_common_ptr>(&info));
  std::copy(table.counts.begin(), table.counts.end(), slot->bits);
  std::fill(std::begin(slot->huffval), std::end(slot->huffval), UINT8{0});
  std::copy(table.symbols.begin(), table.symbols.end(), slot->huffval);
}

}  // namespace

Compressor::Compressor(OutputFile& output) : output_(&output), buffer_(kBufferBytes) {
  destination_.owner = this;
  destination_.base.init_destination = &startOutput;
  destination_.base.empty_output_buffer = &emptyBuffer;
  destination_.base.term_destination = &endOutput;
  info_.err = &errors_.base;
  created_ = guarded(errors_, [&] { jpeg_create_compress(&info_); });
  info_.dest = &destination_.base;
}

Compressor::~Compressor() {
  if (created_) jpeg_destroy_compress(&info_);
}

void Compressor::startOutput(j_compress_ptr info) {
  auto* const self = reinterpret_cast<Destination*>(info->dest)->owner;
  self->destination_.base.next_output_byte = self->buffer_.data();
  self->destination_.base.free_in_buffer = self->buffer_.size();
}

boolean Compressor::emptyBuffer(j_compress_ptr info) {
  auto* const self = reinterpret_cast<Destination*>(info->dest)->owner;
  if (!self->writeBuffer(self->buffer_.size())) ERREXIT(info, JERR_FILE_WRITE);
  startOutput(info);
  return TRUE;
}

void Compressor::endOutput(j_compress_ptr info) {
  auto* const self = reinterpret_cast<Destination*>(info->dest)->owner;
  if (!self->writeBuffer(self->buffer_.size() - info->dest->free_in_buffer)) {
    ERREXIT(info, JERR_FILE_WRITE);
  }
}

// Apart from its callers, which jump on failure and so must hold no objects.
bool Compressor::writeBuffer(std::size_t count) {
  outputFailure_ = output_->write(std::as_bytes(std::span(buffer_).first(count)));
  return outputFailure_.ok();
}

std::uint64_t Compressor::outputPosition() const {
  return output_->position() + (buffer_.size() - destination_.base.free_in_buffer);
}

Error Compressor::failure() const {
  if (!outputFailure_) return outputFailure_.error();
  return libraryError(errors_, "the picture could not be compressed");
}

void Compressor::prepare(const Structure& structure) {
  bool tablesCompleted = false;
  for (std::size_t slot = 0; slot < kTableSlots; ++slot) {
    if (structure.dcTables[slot]) {
      dcTables_[slot] = completeTable(*structure.dcTables[slot], HuffmanKind::dc);
    }
    if (structure.acTables[slot]) {
      acTables_[slot] = completeTable(*structure.acTables[slot], HuffmanKind::ac);
    }
    tablesCompleted = tablesCompleted || dcTables_[slot] != structure.dcTables[slot] ||
                      acTables_[slot] != structure.acTables[slot];
  }
  optimizeSmall_ = !structure.arithmetic() && tablesCompleted &&
                   std::uint64_t{structure.width} * structure.height <= kSmallPixels;
  restartRows_ = structure.severalScans() ? restartRows(structure) : 0;
  if (!structure.severalScans() || !scansAreComplete(structure)) return;
  for (const Scan& scan : structure.scans) {
    jpeg_scan_info copy = {};
    copy.comps_in_scan = static_cast<int>(scan.components.size());
    std::copy(scan.components.begin(), scan.components.end(), copy.component_index);
    copy.Ss = scan.spectralStart;
    copy.Se = scan.spectralEnd;
    copy.Ah = scan.approximationHigh;
    copy.Al = scan.approximationLow;
    scans_.push_back(copy);
  }
}

void Compressor::setTables(const Structure& structure) {
  std::array<const QuantTable*, kTableSlots> used = {};
  for (std::size_t i = 0; i < structure.components.size(); ++i) {
    const Component& from = structure.components[i];
    // A slot that was redefined between two scans holds two tables; the second moves elsewhere.
    std::size_t slot = from.quantSlot;
    while (used[slot] != nullptr && *used[slot] != *from.quantTable) {
      slot = (slot + 1) % kTableSlots;
    }
    used[slot] = &*from.quantTable;
    JQUANT_TBL*& table = info_.quant_tbl_ptrs[slot];
    if (table == nullptr) table = jpeg_alloc_quant_table(reinterpret_cast<j_common_ptr>(&info_));
    std::copy(from.quantTable->begin(), from.quantTable->end(), table->quantval);
    info_.comp_info[i].quant_tbl_no = static_cast<int>(slot);
  }
  for (std::size_t slot = 0; slot < kTableSlots; ++slot) {
    if (dcTables_[slot]) setHuffmanTable(info_.dc_huff_tbl_ptrs[slot], info_, *dcTables_[slot]);
    if (acTables_[slot]) setHuffmanTable(info_.ac_huff_tbl_ptrs[slot], info_, *acTables_[slot]);
    info_.arith_dc_L[slot] = structure.conditioning.dcLower[slot];
    info_.arith_dc_U[slot] = structure.conditioning.dcUpper[slot];
    info_.arith_ac_K[slot] = structure.conditioning.ac[slot];
  }
}

void Compressor::setScans(const Structure& structure) {
  if (!structure.severalScans()) {
    info_.optimize_coding = optimizeSmall_ ? TRUE : FALSE;
    return;
  }
  // All coefficients are kept anyway, so the best tables cost one more pass and no more memory.
  info_.optimize_coding = structure.arithmetic() ? FALSE : TRUE;
  if (!scans_.empty()) {
    info_.scan_info = scans_.data();
    info_.num_scans = static_cast<int>(scans_.size());
  } else if (structure.progressive()) {
    jpeg_simple_progression(&info_);
  }
}

void Compressor::setUp(const Properties& properties) {
  const Structure& structure = properties.structure();
  info_.image_width = structure.width;
  info_.image_height = structure.height;
  info_.input_components = 3;
  info_.in_color_space = JCS_RGB;
  jpeg_set_defaults(&info_);
  jpeg_set_colorspace(&info_, colorSpaceOf(properties.coding()));
  info_.dct_method = JDCT_ISLOW;
  // These two segments come from the old file like all others.
  info_.write_JFIF_header = FALSE;
  info_.write_Adobe_marker = FALSE;
  info_.arith_code = structure.arithmetic() ? TRUE : FALSE;
  info_.restart_interval = structure.scans.front().restartInterval;
  info_.restart_in_rows = static_cast<int>(restartRows_);
  for (std::size_t i = 0; i < structure.components.size(); ++i) {
    const Component& from = structure.components[i];
    jpeg_component_info& to = info_.comp_info[i];
    to.component_id = from.id;
    to.h_samp_factor = from.horizontalSampling;
    to.v_samp_factor = from.verticalSampling;
    to.dc_tbl_no = from.dcSlot;
    to.ac_tbl_no = from.acSlot;
  }
  setTables(structure);
  setScans(structure);
}

Result<void> Compressor::start(const Properties& properties,
                               const std::vector<PreparedSegment>& segments,
                               std::vector<std::uint64_t>& positions) {
  prepare(properties.structure());
  positions.assign(segments.size(), 0);
  const bool started = created_ && guarded(errors_, [&] {
                         setUp(properties);
                         jpeg_start_compress(&info_, TRUE);
                         for (std::size_t i = 0; i < segments.size(); ++i) {
                           const auto payload = segments[i].payload();
                           constexpr std::uint64_t kMarkerAndLength = 4;
                           positions[i] = outputPosition() + kMarkerAndLength;
                           jpeg_write_marker(&info_, segments[i].marker,
                                             reinterpret_cast<const JOCTET*>(payload.data()),
                                             static_cast<unsigned>(payload.size()));
                         }
                       });
  if (!started) return failure();
  return {};
}

Result<void> Compressor::writeRows(std::span<const std::byte> pixels, std::uint32_t rows) {
  const std::size_t rowBytes = std::size_t{3} * info_.image_width;
  // The library reads them only; its interface is older than const.
  auto* const samples = const_cast<JSAMPLE*>(reinterpret_cast<const JSAMPLE*>(pixels.data()));
  const bool written = guarded(errors_, [&] {
    constexpr JDIMENSION kRowsAtOnce = 16;
    std::array<JSAMPROW, kRowsAtOnce> pointers;
    for (std::uint32_t done = 0; done < rows;) {
      JDIMENSION count = 0;
      while (count < kRowsAtOnce && done + count < rows) {
        pointers[count] = samples + (done + count) * rowBytes;
        ++count;
      }
      done += jpeg_write_scanlines(&info_, pointers.data(), count);
    }
  });
  if (!written) return failure();
  return {};
}

Result<void> Compressor::finish() {
  if (!guarded(errors_, [&] { jpeg_finish_compress(&info_); })) return failure();
  return {};
}

std::uint32_t Compressor::rowsAtOnce() const {
  return static_cast<std::uint32_t>(info_.max_v_samp_factor * DCTSIZE);
}

}  // namespace kelvo::jpeg
