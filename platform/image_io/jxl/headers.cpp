#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "platform/image_io/jxl/frame_walk.h"
#include "platform/image_io/jxl/jxl_file.h"
#include "platform/image_io/jxl/library.h"

namespace kelvo::jxl {
namespace {

const std::uint8_t* raw(Bytes bytes) { return reinterpret_cast<const std::uint8_t*>(bytes.data()); }

bool sameEncoding(const JxlColorEncoding& a, const JxlColorEncoding& b) {
  const auto numbers = [](const JxlColorEncoding& e) {
    return std::array{e.white_point_xy[0],    e.white_point_xy[1],     e.primaries_red_xy[0],
                      e.primaries_red_xy[1],  e.primaries_green_xy[0], e.primaries_green_xy[1],
                      e.primaries_blue_xy[0], e.primaries_blue_xy[1],  e.gamma};
  };
  return a.color_space == b.color_space && a.white_point == b.white_point &&
         a.primaries == b.primaries && a.transfer_function == b.transfer_function &&
         a.rendering_intent == b.rendering_intent && numbers(a) == numbers(b);
}

bool sameBlend(const JxlBlendInfo& a, const JxlBlendInfo& b) {
  return a.blendmode == b.blendmode && a.source == b.source && a.alpha == b.alpha &&
         a.clamp == b.clamp;
}

// Walks through a codestream's headers.
class HeaderReader {
 public:
  HeaderReader(Bytes codestream, const Limits& limits)
      : codestream_(codestream), limits_(limits), decoder_(JxlDecoderCreate(nullptr)) {}

  Result<Headers> read() {
    // The library would take a container, too.
    if (codestream_.size() >= 2 &&
        (codestream_[0] != std::byte{0xFF} || codestream_[1] != std::byte{0x0A})) {
      return Error{"its codestream does not begin as one"};
    }
    JxlDecoder* const decoder = decoder_.get();
    if (decoder == nullptr ||
        JxlDecoderSubscribeEvents(decoder, JXL_DEC_BASIC_INFO | JXL_DEC_COLOR_ENCODING |
                                               JXL_DEC_FRAME) != JXL_DEC_SUCCESS ||
        JxlDecoderSetKeepOrientation(decoder, JXL_TRUE) != JXL_DEC_SUCCESS ||
        JxlDecoderSetCoalescing(decoder, JXL_FALSE) != JXL_DEC_SUCCESS) {
      return Error{"the JPEG XL library is another version"};
    }
    for (;;) {
      const JxlDecoderStatus event = step();
      Result<void> taken;
      switch (event) {
        case JXL_DEC_BASIC_INFO:
          taken = takeBasics();
          break;
        case JXL_DEC_COLOR_ENCODING:
          taken = takeColors();
          firstFrame_ = position_;
          break;
        case JXL_DEC_FRAME:
          taken = takeFrame();
          break;
        case JXL_DEC_SUCCESS:
          if (headers_.frames.empty()) return Error{"it has no picture"};
          if (auto checked = checkHiddenFrames(); !checked) return std::move(checked).error();
          return std::move(headers_);
        case JXL_DEC_NEED_MORE_INPUT:
          if (headers_.frames.empty()) return Error{"it ends before its first picture"};
          headers_.status = {.status = CGImageSourceStatus::incomplete,
                             .cause = "the file ends inside a picture"};
          return std::move(headers_);
        default:
          if (headers_.frames.empty()) return Error{"its headers are damaged"};
          headers_.status = {.status = CGImageSourceStatus::invalidData,
                             .cause = "the header of a picture is damaged"};
          return std::move(headers_);
      }
      if (!taken) return std::move(taken).error();
    }
  }

 private:
  JxlDecoderStatus step() {
    const Bytes rest = codestream_.subspan(position_);
    if (JxlDecoderSetInput(decoder_.get(), raw(rest), rest.size()) != JXL_DEC_SUCCESS) {
      return JXL_DEC_ERROR;
    }
    const JxlDecoderStatus event = JxlDecoderProcessInput(decoder_.get());
    position_ = codestream_.size() - JxlDecoderReleaseInput(decoder_.get());
    return event;
  }

  Result<void> takeBasics() {
    JxlBasicInfo& info = headers_.info;
    if (JxlDecoderGetBasicInfo(decoder_.get(), &info) != JXL_DEC_SUCCESS) {
      return Error{"its headers are damaged"};
    }
    if (auto fits = checkSize(info.xsize, info.ysize); !fits) return fits;
    for (std::uint32_t i = 0; i < info.num_extra_channels; ++i) {
      JxlExtraChannelInfo channel = {};
      if (JxlDecoderGetExtraChannelInfo(decoder_.get(), i, &channel) != JXL_DEC_SUCCESS) {
        return Error{"its headers are damaged"};
      }
      if (channel.type == JXL_CHANNEL_BLACK) headers_.keyed = true;
      if (channel.type == JXL_CHANNEL_ALPHA && info.num_extra_channels == 1) {
        headers_.alpha = channel;
        std::vector<char> name(std::size_t{channel.name_length} + 1);
        if (JxlDecoderGetExtraChannelName(decoder_.get(), i, name.data(), name.size()) ==
            JXL_DEC_SUCCESS) {
          headers_.alphaName.assign(name.data(), channel.name_length);
        }
      }
    }
    findObstacles();
    return {};
  }

  void obstacle(std::string reason) {
    if (headers_.obstacle.empty()) headers_.obstacle = std::move(reason);
  }

  void findObstacles() {
    const JxlBasicInfo& info = headers_.info;
    if (info.have_preview != 0) obstacle("a preview picture inside cannot be made anew");
    if (!headers_.alpha && info.num_extra_channels > 0) {
      obstacle("channels besides colour and alpha cannot be written back");
    }
    if (headers_.alpha && headers_.alpha->dim_shift != 0) {
      obstacle("an alpha channel of a lower resolution cannot be written back");
    }
    // The library's encoder ends the process at it.
    if (headers_.alpha && headers_.alpha->alpha_premultiplied != 0) {
      obstacle("colours multiplied by alpha cannot be written back");
    }
    const bool floating = info.exponent_bits_per_sample != 0 ||
                          (headers_.alpha && headers_.alpha->exponent_bits_per_sample != 0);
    if (floating) obstacle("floating-point samples cannot be written back");
    constexpr std::uint32_t kMostBits = 16;
    if (info.bits_per_sample > kMostBits ||
        (headers_.alpha && headers_.alpha->bits_per_sample > kMostBits)) {
      obstacle("samples of more than 16 bits cannot be written back");
    }
  }

  Result<void> takeColors() {
    JxlColorEncoding encoding = {};
    if (JxlDecoderGetColorAsEncodedProfile(decoder_.get(), nullptr,
                                           JXL_COLOR_PROFILE_TARGET_ORIGINAL,
                                           &encoding) == JXL_DEC_SUCCESS) {
      headers_.encoding = encoding;
    }
    std::size_t size = 0;
    if (JxlDecoderGetICCProfileSize(decoder_.get(), nullptr, JXL_COLOR_PROFILE_TARGET_ORIGINAL,
                                    &size) == JXL_DEC_SUCCESS) {
      headers_.profile.resize(size);
      if (JxlDecoderGetColorAsICCProfile(decoder_.get(), nullptr, JXL_COLOR_PROFILE_TARGET_ORIGINAL,
                                         reinterpret_cast<std::uint8_t*>(headers_.profile.data()),
                                         size) != JXL_DEC_SUCCESS) {
        return Error{"its colour profile is damaged"};
      }
    }
    if (!headers_.encoding && headers_.profile.empty()) {
      obstacle("it does not tell what its colours are");
    }
    if (headers_.info.uses_original_profile == 0) checkColorsOfPixels();
    return {};
  }

  // Colours in the format's own space come out in the encoding that the file tells, or not at all.
  void checkColorsOfPixels() {
    JxlColorEncoding pixels = {};
    if (!headers_.encoding ||
        JxlDecoderGetColorAsEncodedProfile(decoder_.get(), nullptr, JXL_COLOR_PROFILE_TARGET_DATA,
                                           &pixels) != JXL_DEC_SUCCESS ||
        !sameEncoding(pixels, *headers_.encoding)) {
      obstacle("its lossy colours cannot be decoded into the colours of its profile");
    }
  }

  Result<void> takeFrame() {
    if (headers_.frames.size() >= limits_.maxFrames) {
      return Error{fmt::format("it has more than the {} pictures allowed (--max-frames)",
                               limits_.maxFrames)};
    }
    Frame frame;
    if (JxlDecoderGetFrameHeader(decoder_.get(), &frame.header) != JXL_DEC_SUCCESS) {
      return Error{"the header of a picture is damaged"};
    }
    const JxlLayerInfo& layer = frame.header.layer_info;
    frame.width = layer.xsize;
    frame.height = layer.ysize;
    if (auto fits = checkSize(frame.width, frame.height); !fits) return fits;
    std::vector<char> name(std::size_t{frame.header.name_length} + 1);
    if (JxlDecoderGetFrameName(decoder_.get(), name.data(), name.size()) == JXL_DEC_SUCCESS) {
      frame.name.assign(name.data(), frame.header.name_length);
    }
    if (headers_.alpha) {
      JxlBlendInfo blend = {};
      if (JxlDecoderGetExtraChannelBlendInfo(decoder_.get(), 0, &blend) != JXL_DEC_SUCCESS) {
        return Error{"the header of a picture is damaged"};
      }
      frame.alphaBlend = blend;
      checkBlend(blend);
    }
    checkBlend(layer.blend_info);
    if (headers_.frames.empty()) {
      headers_.coding = findCoding(codestream_.subspan(firstFrame_), codestream_.subspan(position_),
                                   headers_.info.uses_original_profile == 0);
    }
    headers_.frames.push_back(std::move(frame));
    sections_.push_back(position_ - firstFrame_);
    return {};
  }

  // Only files without an obstacle are decoded.
  Result<void> checkHiddenFrames() {
    if (!headers_.obstacle.empty()) return {};
    const auto hidden =
        findHiddenFrames(codestream_.subspan(firstFrame_), headers_.info, sections_);
    if (!hidden) {
      obstacle(hidden.error().message);
      return {};
    }
    if (headers_.frames.size() + hidden->count > limits_.maxFrames) {
      return Error{fmt::format("it has more than the {} pictures allowed (--max-frames)",
                               limits_.maxFrames)};
    }
    headers_.hiddenPixels = hidden->largest;
    return checkSize(hidden->largest, 1);
  }

  // Adding and multiplying do not commute with an adjustment of both layers.
  void checkBlend(const JxlBlendInfo& blend) {
    if (blend.blendmode != JXL_BLEND_REPLACE && blend.blendmode != JXL_BLEND_BLEND) {
      obstacle("layers that are added or multiplied cannot be adjusted one by one");
    }
  }

  Result<void> checkSize(std::uint64_t width, std::uint64_t height) const {
    const std::uint64_t pixels = width * height;
    if (pixels <= limits_.maxPixels) return {};
    return Error{fmt::format("it has {} pixels, more than the {} allowed (--max-pixels)", pixels,
                             limits_.maxPixels)};
  }

  Bytes codestream_;
  const Limits& limits_;
  Decoder decoder_;
  Headers headers_;
  std::size_t position_ = 0;
  std::size_t firstFrame_ = 0;
  std::vector<std::size_t> sections_;  // of each frame, from the first frame on
};

}  // namespace

Result<Headers> readHeaders(Bytes codestream, const Limits& limits) {
  return HeaderReader(codestream, limits).read();
}

bool sameContents(const Headers& before, const Headers& after) {
  const JxlBasicInfo& a = before.info;
  const JxlBasicInfo& b = after.info;
  const auto sizes = [](const JxlBasicInfo& i) {
    return std::array{i.xsize,
                      i.ysize,
                      i.intrinsic_xsize,
                      i.intrinsic_ysize,
                      static_cast<std::uint32_t>(i.orientation),
                      i.num_color_channels,
                      i.num_extra_channels};
  };
  const auto light = [](const JxlBasicInfo& i) {
    return std::array{i.intensity_target, i.min_nits, i.linear_below};
  };
  if (sizes(a) != sizes(b) || light(a) != light(b) ||
      a.relative_to_max_display != b.relative_to_max_display ||
      a.uses_original_profile != b.uses_original_profile || a.have_animation != b.have_animation) {
    return false;
  }
  if (a.have_animation != 0 && (a.animation.tps_numerator != b.animation.tps_numerator ||
                                a.animation.tps_denominator != b.animation.tps_denominator ||
                                a.animation.num_loops != b.animation.num_loops ||
                                a.animation.have_timecodes != b.animation.have_timecodes)) {
    return false;
  }
  if (before.encoding.has_value() != after.encoding.has_value()) return false;
  if (before.encoding ? !sameEncoding(*before.encoding, *after.encoding)
                      : before.profile != after.profile) {
    return false;
  }
  if (before.alpha.has_value() != after.alpha.has_value() || before.alphaName != after.alphaName ||
      (before.alpha && before.alpha->alpha_premultiplied != after.alpha->alpha_premultiplied)) {
    return false;
  }
  return std::equal(
      before.frames.begin(), before.frames.end(), after.frames.begin(), after.frames.end(),
      [](const Frame& x, const Frame& y) {
        const JxlLayerInfo& l = x.header.layer_info;
        const JxlLayerInfo& m = y.header.layer_info;
        return x.width == y.width && x.height == y.height && x.name == y.name &&
               x.header.duration == y.header.duration && x.header.timecode == y.header.timecode &&
               l.crop_x0 == m.crop_x0 && l.crop_y0 == m.crop_y0 &&
               sameBlend(l.blend_info, m.blend_info) &&
               (x.header.is_last != 0 || l.save_as_reference == m.save_as_reference) &&
               x.alphaBlend.has_value() == y.alphaBlend.has_value() &&
               (!x.alphaBlend || sameBlend(*x.alphaBlend, *y.alphaBlend));
      });
}

}  // namespace kelvo::jxl
