#include "platform/image_io/gif/gif_writer.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <bitset>
#include <cstddef>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "platform/image_io/gif/gif_rows.h"
#include "platform/image_io/gif/gif_source.h"
#include "platform/image_io/mapped_file.h"
#include "platform/image_io/output_file.h"

namespace kelvo {
namespace {

using Color = std::array<std::byte, 3>;
using Colors = std::vector<Color>;

Colors storedColors(std::span<const std::byte> bytes) {
  Colors colors(bytes.size() / 3);
  for (std::size_t i = 0; i < bytes.size(); ++i) colors[i / 3][i % 3] = bytes[i];
  return colors;
}

Color colorOf(const Palette& palette, std::size_t index) {
  const auto& entry = palette[index];
  return {std::byte{entry[0]}, std::byte{entry[1]}, std::byte{entry[2]}};
}

// What a frame's table has become.
struct MappedTable {
  Colors before;
  Colors after;

  // What has become of a colour, if the table has it.
  [[nodiscard]] std::optional<Color> find(const Color& color,
                                          std::optional<std::size_t> but) const {
    for (std::size_t i = 0; i < before.size(); ++i) {
      if (i != but && before[i] == color) return after[i];
    }
    return std::nullopt;
  }
};

class GifWriter final : public CodecWriter {
 public:
  GifWriter(OutputFile& out, std::size_t frames) : out_(out), frames_(frames) {}

  Result<void> addImage(const CGImage& image, const FrameProperties& properties) override {
    const auto* const own = dynamic_cast<const GifProperties*>(&properties);
    if (own == nullptr || own->frame() != tables_.size() || (file_ && file_ != own->file())) {
      return Error{"a frame is not the next one of this GIF file"};
    }
    if (!file_) {
      const GifFile& file = *own->file();
      if (file.frames().size() != frames_) return Error{"the new file has another frame count"};
      if (file.status().status != CGImageSourceStatus::complete) return Error{file.status().cause};
      file_ = own->file();
    }
    const GifFrame& frame = file_->frames()[own->frame()];
    if (auto fits = checkImage(image, frame); !fits) return fits;
    const MappedTable table = mapTable(*image.palette, frame);
    if (frame.ownTable.entries != 0 || !joinGlobal(table.after, frame)) {
      tables_.emplace_back(table.after);
    } else {
      tables_.emplace_back(std::nullopt);
    }
    if (tables_.size() == 1) first_ = table;
    return {};
  }

  Result<void> finish() override {
    if (!file_ || tables_.size() != frames_) return Error{"the new file lacks frames"};
    if (auto written = writeGlobalTable(); !written) return written;
    for (std::size_t i = 0; i < frames_; ++i) {
      if (!tables_[i]) continue;
      if (auto written = writeOwnTable(file_->frames()[i], *tables_[i]); !written) return written;
    }
    return copyTo(file_->bytes().bytes().size());
  }

 private:
  Result<void> checkImage(const CGImage& image, const GifFrame& frame) const {
    if (image.width != frame.width || image.height != frame.height) {
      return Error{fmt::format("the picture has become {} x {} pixels", image.width, image.height)};
    }
    if (image.palette == nullptr) return Error{"the picture has lost its colour table"};
    const Palette before = gifPalette(*file_, frame);
    if (image.palette->size() != before.size()) {
      return Error{
          fmt::format("the colour table has become one of {} colours", image.palette->size())};
    }
    for (std::size_t i = 0; i < before.size(); ++i) {
      if ((*image.palette)[i][3] != before[i][3]) {
        return Error{"a colour has become more or less transparent, which a GIF file cannot tell"};
      }
    }
    return {};
  }

  [[nodiscard]] MappedTable mapTable(const Palette& palette, const GifFrame& frame) const {
    MappedTable table;
    table.before = storedColors(file_->colors(file_->tableOf(frame)));
    for (std::size_t i = 0; i < table.before.size(); ++i) {
      table.after.push_back(colorOf(palette, i));
    }
    const std::optional<std::size_t> unseen = frame.transparent;
    if (unseen && *unseen < table.after.size()) {
      const Color& color = table.before[*unseen];
      table.after[*unseen] = table.find(color, unseen).value_or(color);
    }
    return table;
  }

  // False if the frame has other colours than the frames before it that share the global table.
  bool joinGlobal(const Colors& colors, const GifFrame& frame) {
    if (global_.empty()) global_ = colors;
    const auto seen = [&](std::size_t i) { return i != frame.transparent; };
    for (std::size_t i = 0; i < colors.size(); ++i) {
      if (seen(i) && settled_[i] && colors[i] != global_[i]) return false;
    }
    for (std::size_t i = 0; i < colors.size(); ++i) {
      if (!seen(i)) continue;
      global_[i] = colors[i];
      settled_.set(i);
    }
    return true;
  }

  Result<void> writeGlobalTable() {
    const GifTable& table = file_->globalTable();
    if (table.entries == 0) return {};
    if (global_.empty()) {
      // No frame uses it. It still has the colour behind them.
      global_ = storedColors(file_->colors(table));
      for (Color& color : global_) color = first_.find(color, std::nullopt).value_or(color);
    }
    if (auto copied = copyTo(table.position); !copied) return copied;
    return writeColors(global_, table.end());
  }

  Result<void> writeOwnTable(const GifFrame& frame, const Colors& colors) {
    if (frame.ownTable.entries != 0) {
      if (auto copied = copyTo(frame.ownTable.position); !copied) return copied;
      return writeColors(colors, frame.ownTable.end());
    }
    const std::size_t packedAt = frame.descriptor + gif::kDescriptorPacked;
    if (auto copied = copyTo(packedAt); !copied) return copied;
    const auto bytes = file_->bytes().bytes();
    const auto screen = std::to_integer<unsigned>(bytes[gif::kScreenPacked]);
    auto packed = std::to_integer<unsigned>(bytes[packedAt]);
    packed &= ~(gif::kSorted | gif::kTableSize);
    packed |= gif::kHasTable | (screen & gif::kTableSize);
    if ((screen & gif::kScreenSorted) != 0) packed |= gif::kSorted;
    const auto byte = static_cast<std::byte>(packed);
    if (auto written = out_.write({&byte, 1}); !written) return written;
    return writeColors(colors, packedAt + 1);
  }

  // Copies the old file up to there.
  Result<void> copyTo(std::size_t position) {
    const auto part = file_->bytes().bytes().subspan(copied_, position - copied_);
    copied_ = position;
    return out_.write(part);
  }

  // Instead of the old file's bytes up to `end`.
  Result<void> writeColors(const Colors& colors, std::size_t end) {
    copied_ = end;
    return out_.write(std::as_bytes(std::span(colors)));
  }

  OutputFile& out_;
  std::size_t frames_;
  std::shared_ptr<const GifFile> file_;
  std::vector<std::optional<Colors>> tables_;  // of each frame; none if the global one will do
  Colors global_;             // what becomes of the global table; empty if no frame uses it
  std::bitset<256> settled_;  // its entries that a frame shows
  MappedTable first_;         // of the first frame
  std::size_t copied_ = 0;    // of the old file
};

}  // namespace

Result<std::unique_ptr<CodecWriter>> createGifWriter(OutputFile& file, std::size_t frames,
                                                     const EncodeOptions&) {
  return std::unique_ptr<CodecWriter>(std::make_unique<GifWriter>(file, frames));
}

}  // namespace kelvo
