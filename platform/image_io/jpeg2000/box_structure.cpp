#include <algorithm>
#include <utility>

#include "platform/image_io/jpeg2000/jpeg2000_file.h"

namespace kelvo::jpeg2000 {
namespace {

SourceStatus damaged(std::string cause) {
  return {.status = CGImageSourceStatus::invalidData, .cause = std::move(cause)};
}

const Box* find(const std::vector<Box>& boxes, FourCC type) {
  const auto found =
      std::find_if(boxes.begin(), boxes.end(), [type](const Box& box) { return box.type == type; });
  return found == boxes.end() ? nullptr : &*found;
}

void refuse(Boxes& boxes, const char* reason) {
  if (boxes.obstacle.empty()) boxes.obstacle = reason;
}

// Boxes of the extended format that make a picture of several, or point to places in the file.
bool tellsOfOtherPictures(FourCC type) {
  constexpr std::array kTypes = {fourCC("jpch"), fourCC("jplh"), fourCC("comp"), fourCC("copt"),
                                 fourCC("inst"), fourCC("cgrp"), fourCC("opct"), fourCC("moov"),
                                 fourCC("moof"), fourCC("mdat")};
  return std::find(kTypes.begin(), kTypes.end(), type) != kTypes.end();
}
bool pointsIntoFile(FourCC type) {
  constexpr std::array kTypes = {fourCC("ftbl"), fourCC("flst"), fourCC("dtbl"), fourCC("cref"),
                                 fourCC("fidx"), fourCC("cidx"), fourCC("iptr"), fourCC("prxy")};
  return std::find(kTypes.begin(), kTypes.end(), type) != kTypes.end();
}

void readColorSpace(Boxes& boxes, std::size_t colorCount) {
  constexpr std::uint32_t kCmyk = 12;
  constexpr std::uint32_t kLab = 14;
  constexpr std::uint32_t kSrgb = 16;
  constexpr std::uint32_t kGray = 17;
  boxes.model = colorCount < 3 ? ColorModel::gray : ColorModel::rgb;
  for (const Box& box : boxes.header) {
    if (box.type != fourCC("colr")) continue;
    heif::Reader reader(box.payload);
    const unsigned method = reader.u8();
    reader.take(2);
    if (method == 1) {
      const std::uint32_t space = reader.u32();
      if (space == kGray) {
        boxes.model = ColorModel::gray;
      } else if (space == kCmyk) {
        boxes.model = ColorModel::cmyk;
      } else if (space == kLab) {
        boxes.model = ColorModel::lab;
      } else if (space != kSrgb) {
        refuse(boxes, "colours that are neither RGB nor a profile's cannot be adjusted");
      }
      return;
    }
    if (method == 2 || method == 3) {
      boxes.profile.assign(reader.rest().begin(), reader.rest().end());
      constexpr std::size_t kSpaceOffset = 16;
      if (boxes.profile.size() < kSpaceOffset + 4) {
        boxes.status = damaged("its colour profile is damaged");
        return;
      }
      const FourCC space = heif::Reader(Bytes(boxes.profile).subspan(kSpaceOffset)).u32();
      if (space == fourCC("GRAY")) {
        boxes.model = ColorModel::gray;
      } else if (space == fourCC("CMYK")) {
        boxes.model = ColorModel::cmyk;
      } else if (space == fourCC("Lab ")) {
        boxes.model = ColorModel::lab;
      } else if (space != fourCC("RGB ")) {
        refuse(boxes, "colours of a profile that is not for RGB cannot be adjusted");
      }
      return;
    }
  }
}

// 'cdef': what each channel is. Without one, channels are colours in their order.
void readChannels(Boxes& boxes, std::size_t count) {
  const Box* const definitions = find(boxes.header, fourCC("cdef"));
  if (definitions == nullptr) {
    if (count == 2 || (count > 3 && boxes.model == ColorModel::rgb)) {
      refuse(boxes, "channels that are told to be neither colour nor alpha cannot be written back");
    }
    return;
  }
  constexpr unsigned kColor = 0;
  constexpr unsigned kAlpha = 1;
  constexpr unsigned kPremultipliedAlpha = 2;
  heif::Reader reader(definitions->payload);
  const unsigned entries = reader.u16();
  std::array<bool, 3> found = {};
  std::vector<bool> told(count);
  for (unsigned i = 0; i < entries; ++i) {
    const std::size_t channel = reader.u16();
    const unsigned type = reader.u16();
    const unsigned part = reader.u16();
    if (!reader.ok() || channel >= count || told[channel]) {
      boxes.status = damaged("its channels are not told in a sensible way");
      return;
    }
    told[channel] = true;
    if (type == kColor && part >= 1 && part <= 3 && !found[part - 1]) {
      found[part - 1] = true;
      boxes.channels.colors[part - 1] = channel;
    } else if ((type == kAlpha || type == kPremultipliedAlpha) && part == 0 &&
               !boxes.channels.alpha) {
      boxes.channels.alpha = channel;
      boxes.channels.premultiplied = type == kPremultipliedAlpha;
    } else if (boxes.model == ColorModel::rgb) {
      refuse(boxes, "channels besides colour and alpha cannot be written back");
    }
  }
  const bool all = std::find(told.begin(), told.end(), false) == told.end();
  const bool colors = std::find(found.begin(), found.end(), false) == found.end();
  if (boxes.model == ColorModel::rgb && (!all || !colors)) {
    refuse(boxes, "channels that are told to be neither colour nor alpha cannot be written back");
  }
}

// 'pclr' and 'cmap': one component looked up in columns of 8 bits, in their order. Gives the number
// of channels, which is that of the columns if there are any.
std::size_t readTable(Boxes& boxes, const Codestream& codestream) {
  const std::size_t components = codestream.components.size();
  const Box* const table = find(boxes.header, kPalette);
  const Box* const map = find(boxes.header, fourCC("cmap"));
  if (table == nullptr && map == nullptr) return components;
  if (table == nullptr || map == nullptr) {
    boxes.status = damaged("one half of its colour table is missing");
    return components;
  }
  heif::Reader reader(table->payload);
  ColorTable found;
  found.entries = reader.u16();
  found.columns = reader.u8();
  bool bytes = true;
  for (std::size_t i = 0; i < found.columns; ++i) bytes = reader.u8() == 7 && bytes;
  found.offset = table->payload.size() - reader.rest().size();
  bool straight = components == 1 && map->payload.size() == 4 * found.columns;
  heif::Reader columns(map->payload);
  for (std::size_t i = 0; i < found.columns && straight; ++i) {
    straight = columns.u16() == 0 && columns.u8() == 1 && columns.u8() == i;
  }
  if (!reader.ok() || found.entries == 0 || found.columns == 0) {
    boxes.status = damaged("its colour table is damaged");
    return components;
  }
  if (!bytes || !straight || found.entries > 256 || found.columns > 4 ||
      codestream.components[0].bits > 8) {
    refuse(boxes, "a colour table of this kind cannot be written back");
    return found.columns;
  }
  if (reader.rest().size() != found.entries * found.columns) {
    boxes.status = damaged("its colour table is damaged");
    return components;
  }
  boxes.table = found;
  return found.columns;
}

void checkHeader(Boxes& boxes, const Codestream& codestream) {
  const Box* const header = find(boxes.header, kImageHeader);
  if (header == nullptr) {
    boxes.status = damaged("it has no image header");
    return;
  }
  heif::Reader reader(header->payload);
  const std::uint32_t height = reader.u32();
  const std::uint32_t width = reader.u32();
  const unsigned components = reader.u16();
  const unsigned depth = reader.u8();
  if (!reader.ok() || height != codestream.grid.height() || width != codestream.grid.width() ||
      components != codestream.components.size()) {
    boxes.status = damaged("its image header and its codestream do not agree");
    return;
  }
  constexpr unsigned kVarious = 255;
  const Component& first = codestream.components[0];
  if (depth != kVarious && depth != (first.bits - 1U) + (first.isSigned ? 128U : 0U)) {
    boxes.status = damaged("its image header and its codestream do not agree");
  }
}

}  // namespace

Result<Boxes> readBoxStructure(Bytes file) {
  Boxes boxes;
  if (file.size() >= 2 && file[0] == std::byte{0xFF}) {
    boxes.codestream = file;
    return boxes;
  }
  heif::BoxList list = heif::readBoxes(file);
  boxes.outer = std::move(list.boxes);
  if (!list.whole) {
    boxes.status = {.status = list.endsEarly ? CGImageSourceStatus::incomplete
                                             : CGImageSourceStatus::invalidData,
                    .cause = list.problem};
  }
  std::size_t codestreams = 0;
  std::size_t headers = 0;
  for (const Box& box : boxes.outer) {
    if (box.type == kData && codestreams++ == 0) boxes.codestream = box.payload;
    if (box.type == kHeader && headers++ == 0) {
      heif::BoxList inner = heif::readBoxes(box.payload);
      if (!inner.whole) return Error{"its header boxes are damaged"};
      boxes.header = std::move(inner.boxes);
    }
    if (tellsOfOtherPictures(box.type)) {
      refuse(boxes, "a file of several pictures or layers cannot be written back");
    }
    if (pointsIntoFile(box.type)) {
      refuse(boxes, "an index of places in the file, which would not fit, cannot be made anew");
    }
  }
  if (codestreams == 0) {
    return Error{boxes.status.cause.empty() ? "it has no codestream" : boxes.status.cause};
  }
  if (codestreams > 1) refuse(boxes, "a file of several pictures or layers cannot be written back");
  if (headers != 1) return Error{"it does not have one header"};
  return boxes;
}

void readColors(Boxes& boxes, const Codestream& codestream) {
  const std::size_t components = codestream.components.size();
  if (boxes.outer.empty()) {
    boxes.model = components < 3 ? ColorModel::gray : ColorModel::rgb;
    if (components == 2 || components > 3) {
      refuse(boxes, "channels that are told to be neither colour nor alpha cannot be written back");
    }
    return;
  }
  checkHeader(boxes, codestream);
  const std::size_t channels = readTable(boxes, codestream);
  readColorSpace(boxes, channels);
  readChannels(boxes, channels);
}

}  // namespace kelvo::jpeg2000
