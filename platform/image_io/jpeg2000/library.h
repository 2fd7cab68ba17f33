#pragma once

#include <openjpeg.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/image_io/heif/boxes.h"

// The library's objects, owned, and its streams in memory.
namespace kelvo::jpeg2000 {

struct CodecCloser {
  void operator()(void* codec) const { opj_destroy_codec(static_cast<opj_codec_t*>(codec)); }
};
using Codec = std::unique_ptr<opj_codec_t, CodecCloser>;

struct ImageCloser {
  void operator()(opj_image_t* image) const { opj_image_destroy(image); }
};
using Image = std::unique_ptr<opj_image_t, ImageCloser>;

struct StreamCloser {
  void operator()(void* stream) const { opj_stream_destroy(static_cast<opj_stream_t*>(stream)); }
};
using Stream = std::unique_ptr<opj_stream_t, StreamCloser>;

// What a stream reads; outlives it.
struct Reading {
  heif::Bytes bytes;
  std::size_t position = 0;
};
Stream openStream(Reading& reading);

// What a stream writes to; outlives it.
struct Writing {
  std::vector<std::byte> bytes;
  std::size_t position = 0;
};
Stream openStream(Writing& writing);

// The first error or warning of a codec. Outlives it.
using Complaint = std::string;
void listen(opj_codec_t* codec, Complaint& complaint);

}  // namespace kelvo::jpeg2000
