#pragma once

#include <jxl/codestream_header.h>
#include <jxl/color_encoding.h>

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/image_io/codec.h"
#include "platform/image_io/jxl/coding.h"
#include "platform/image_io/jxl/container.h"
#include "platform/image_io/jxl/jpeg_inside.h"
#include "platform/image_io/jxl/library.h"

namespace kelvo::jxl {

struct Frame {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  JxlFrameHeader header = {};
  std::optional<JxlBlendInfo> alphaBlend;
  std::string name;
};

// What the codestream's own headers tell, no pixel decoded.
struct Headers {
  JxlBasicInfo info = {};
  std::optional<JxlExtraChannelInfo> alpha;
  std::string alphaName;
  bool keyed = false;                        // has the black channel of CMYK
  std::optional<JxlColorEncoding> encoding;  // none: the colours are told by the profile
  std::vector<std::byte> profile;            // ICC; of an encoding, one that stands for it
  std::vector<Frame> frames;
  std::uint64_t hiddenPixels = 0;  // of the largest frame that pictures only refer to
  Coding coding;
  SourceStatus status;
  // Why the file cannot be written back whole: its first reason. Empty if it can.
  std::string obstacle;
};

// Errors: headers that make no sense, or more than the limits allow.
Result<Headers> readHeaders(Bytes codestream, const Limits& limits);

// Whether what a new codestream tells about itself is what the old one told, sample depth, coding
// and container aside.
bool sameContents(const Headers& before, const Headers& after);

// The library's decoder as a frame left it. Frames come one after the other, and a decoder that
// begins anew goes through all those before.
class DecoderRest {
 public:
  struct Parts {
    Runner runner;  // outlives the decoder
    Decoder decoder;
  };
  // The one that this frame is next for, if there is one.
  std::optional<Parts> take(std::size_t frame) {
    const std::lock_guard lock(mutex_);
    if (!parts_ || next_ != frame) return std::nullopt;
    return std::exchange(parts_, std::nullopt);
  }
  void keep(Parts parts, std::size_t next) {
    const std::lock_guard lock(mutex_);
    parts_ = std::move(parts);
    next_ = next;
  }

 private:
  std::mutex mutex_;
  std::optional<Parts> parts_;
  std::size_t next_ = 0;
};

// An opened file, shared by everything made from it.
struct JxlFile {
  FileBytes bytes;
  Container container;
  Headers headers;
  std::unique_ptr<const JpegInside> jpeg;  // of a file that is a packed JPEG
  Limits limits;
  mutable DecoderRest rest;
};
using JxlFileRef = std::shared_ptr<const JxlFile>;

class JxlProperties final : public FrameProperties {
 public:
  JxlProperties(JxlFileRef file, std::size_t frame) : file_(std::move(file)), frame_(frame) {}

  [[nodiscard]] const MappedFile* origin() const override { return file_->bytes.get(); }
  [[nodiscard]] const JxlFileRef& file() const { return file_; }
  [[nodiscard]] std::size_t frame() const { return frame_; }

 private:
  JxlFileRef file_;
  std::size_t frame_;
};

Result<std::unique_ptr<CodecSource>> openJxl(FileBytes file, const Limits& limits);
Result<std::unique_ptr<CodecWriter>> createJxlWriter(OutputFile& file, std::size_t frames,
                                                     const EncodeOptions& options);

// How the pixels of a frame are handed out: 8 bits a sample where the file has no more, else 16.
PixelLayout layoutOf(const Headers& headers);

// What stands in the way of writing the file back whole.
Result<void> checkWritable(const JxlFile& file, const EncodeOptions& options);

enum class Use : std::uint8_t { decode, rewrite };
// Whether a frame may be decoded, or decoded and encoded, within the memory that is allowed.
Result<void> checkMemory(const JxlFile& file, const Frame& frame, Use use);

}  // namespace kelvo::jxl
