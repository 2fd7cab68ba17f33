#include "tests/image_io/jxl/jxl_test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace kelvo::image_io_test {

Bytes smoothSamples(unsigned width, unsigned height, bool alpha) {
  Bytes samples;
  for (unsigned y = 0; y < height; ++y) {
    for (unsigned x = 0; x < width; ++x) {
      const double u = static_cast<double>(x) / width;
      const double v = static_cast<double>(y) / height;
      samples.push_back(static_cast<std::byte>(std::lround(40 + 170 * u)));
      samples.push_back(static_cast<std::byte>(std::lround(60 + 120 * v)));
      samples.push_back(
          static_cast<std::byte>(std::lround(128 + 60 * std::sin(9 * u) * std::cos(7 * v))));
      if (alpha) samples.push_back(static_cast<std::byte>(std::lround(60 + 190 * u)));
    }
  }
  return samples;
}

Bytes makeJxl(const std::string& options, unsigned width, unsigned height, bool alpha,
              unsigned maximum) {
  const TemporaryFolder folder;
  Bytes pam = fromText("P7\nWIDTH " + std::to_string(width) + "\nHEIGHT " + std::to_string(height) +
                       "\nDEPTH " + (alpha ? "4" : "3") + "\nMAXVAL " + std::to_string(maximum) +
                       "\nTUPLTYPE " + (alpha ? "RGB_ALPHA" : "RGB") + "\nENDHDR\n");
  unsigned low = 0;
  for (const std::byte sample : smoothSamples(width, height, alpha)) {
    pam.push_back(sample);
    // The lower byte changes from sample to sample.
    if (maximum > 255) pam.push_back(static_cast<std::byte>(low += 37));
  }
  writeFile(folder.path("in.pam"), pam);
  run("cjxl '" + folder.path("in.pam") + "' '" + folder.path("out.jxl") + "' " + options);
  return readFile(folder.path("out.jxl"));
}

Bytes makeByLibrary(const LibraryFile& file) {
  JxlEncoder* const encoder = JxlEncoderCreate(nullptr);
  JxlBasicInfo info;
  JxlEncoderInitBasicInfo(&info);
  info.xsize = file.width;
  info.ysize = file.height;
  info.bits_per_sample = 8;
  info.uses_original_profile = file.lossless ? JXL_TRUE : JXL_FALSE;
  if (file.alpha) {
    info.num_extra_channels = 1;
    info.alpha_bits = 8;
  }
  if (file.frames > 1) {
    info.have_animation = JXL_TRUE;
    info.animation.tps_numerator = 100;
    info.animation.tps_denominator = 1;
  }
  file.basics(info);
  EXPECT_EQ(JxlEncoderSetBasicInfo(encoder, &info), JXL_ENC_SUCCESS);
  file.channels(encoder);
  JxlColorEncoding space;
  JxlColorEncodingSetToSRGB(&space, JXL_FALSE);
  EXPECT_EQ(JxlEncoderSetColorEncoding(encoder, &space), JXL_ENC_SUCCESS);
  Bytes output;
  for (std::size_t i = 0; i < file.frames; ++i) {
    JxlEncoderFrameSettings* const settings = JxlEncoderFrameSettingsCreate(encoder, nullptr);
    JxlEncoderSetFrameLossless(settings, file.lossless ? JXL_TRUE : JXL_FALSE);
    JxlFrameHeader header;
    JxlEncoderInitFrameHeader(&header);
    file.frame(settings, header, i);
    EXPECT_EQ(JxlEncoderSetFrameHeader(settings, &header), JXL_ENC_SUCCESS);
    if (!file.names.empty()) {
      EXPECT_EQ(JxlEncoderSetFrameName(settings, file.names[i].c_str()), JXL_ENC_SUCCESS);
    }
    const bool crop = header.layer_info.have_crop != 0;
    const Bytes samples = smoothSamples(crop ? header.layer_info.xsize : file.width,
                                        crop ? header.layer_info.ysize : file.height, file.alpha);
    // Alpha by itself: among colours it is taken to be straight.
    Bytes colors;
    std::vector<Bytes> planes(info.num_extra_channels);
    const std::size_t step = file.alpha ? 4 : 3;
    for (std::size_t k = 0; k < samples.size(); k += step) {
      colors.insert(colors.end(), &samples[k], &samples[k] + 3);
      for (Bytes& plane : planes) {
        plane.push_back(file.alpha && &plane == planes.data() ? samples[k + 3] : std::byte{0});
      }
    }
    const JxlPixelFormat format = {3, JXL_TYPE_UINT8, JXL_NATIVE_ENDIAN, 0};
    EXPECT_EQ(JxlEncoderAddImageFrame(settings, &format, colors.data(), colors.size()),
              JXL_ENC_SUCCESS);
    const JxlPixelFormat single = {1, JXL_TYPE_UINT8, JXL_NATIVE_ENDIAN, 0};
    for (unsigned k = 0; k < planes.size(); ++k) {
      EXPECT_EQ(
          JxlEncoderSetExtraChannelBuffer(settings, &single, planes[k].data(), planes[k].size(), k),
          JXL_ENC_SUCCESS);
    }
    if (i + 1 == file.frames) JxlEncoderCloseInput(encoder);
    for (;;) {
      const std::size_t filled = output.size();
      output.resize(filled + 4096);
      auto* next = reinterpret_cast<std::uint8_t*>(output.data() + filled);
      std::size_t room = 4096;
      const JxlEncoderStatus status = JxlEncoderProcessOutput(encoder, &next, &room);
      output.resize(filled + 4096 - room);
      if (status == JXL_ENC_NEED_MORE_OUTPUT) continue;
      EXPECT_EQ(status, JXL_ENC_SUCCESS);
      break;
    }
  }
  JxlEncoderDestroy(encoder);
  return output;
}

CGImage inverted(const CGImage& image) {
  const CGImage from = rendered(image);
  Bytes bytes = readAllPixels(from).value();
  const std::size_t step = from.layout.components;
  for (std::size_t i = 0; i < bytes.size(); i += step) {
    // Premultiplied: 255 stands for the pixel's alpha.
    const unsigned full = step == 4 ? std::to_integer<unsigned>(bytes[i + 3]) : 255;
    for (std::size_t k = 0; k < 3; ++k) {
      bytes[i + k] = static_cast<std::byte>(full - std::to_integer<unsigned>(bytes[i + k]));
    }
  }
  return CGImageCreateWithPixels(from.width, from.height, from.layout, std::move(bytes),
                                 from.colorSpace);
}

Bytes jxlPixels(const Bytes& file, const std::string& layout, unsigned depth) {
  const TemporaryFolder folder;
  writeFile(folder.path("in.jxl"), file);
  run("djxl '" + folder.path("in.jxl") + "' '" + folder.path("out.png") + "'");
  run("convert '" + folder.path("out.png") + "' -depth " + std::to_string(depth) +
      " -endian LSB '" + layout + ":" + folder.path("out.raw") + "'");
  return readFile(folder.path("out.raw"));
}

double difference(const Bytes& a, const Bytes& b) {
  EXPECT_EQ(a.size(), b.size());
  EXPECT_FALSE(a.empty());
  double sum = 0;
  for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i) {
    const double d = std::to_integer<int>(a[i]) - std::to_integer<int>(b[i]);
    sum += d * d;
  }
  return std::sqrt(sum / static_cast<double>(std::max<std::size_t>(1, a.size())));
}

Bytes box(const std::string& type, const Bytes& payload) {
  heif::Builder builder;
  builder.number(payload.size() + 8, 4);
  builder.append(fromText(type));
  builder.append(payload);
  return builder.take();
}

Bytes container(const Bytes& codestream, const Bytes& before, const Bytes& after) {
  return concat({box("JXL ", fromHex("0d0a870a")),
                 box("ftyp", fromHex("6a786c20 00000000 6a786c20")), before,
                 box("jxlc", codestream), after});
}

std::vector<std::string> boxTypes(const Bytes& file) {
  std::vector<std::string> types;
  for (const heif::Box& found : heif::readBoxes(file).boxes) {
    std::string type;
    for (int shift = 24; shift >= 0; shift -= 8) type += static_cast<char>(found.type >> shift);
    types.push_back(type);
  }
  return types;
}

Bytes payload(const Bytes& file, const std::string& type) {
  const auto types = boxTypes(file);
  const auto at = std::find(types.begin(), types.end(), type);
  if (at == types.end()) {
    ADD_FAILURE() << "no box " << type;
    return {};
  }
  const heif::Box found = heif::readBoxes(file).boxes[static_cast<std::size_t>(at - types.begin())];
  return {found.payload.begin(), found.payload.end()};
}

}  // namespace kelvo::image_io_test
