#include "tests/image_io/jxl/jxl_test_support.h"

#include <gtest/gtest.h>

namespace kelvo::image_io_test {

Bytes makeJxl(const std::string& options, unsigned width, unsigned height, bool alpha,
              unsigned maximum) {
  const TemporaryFolder folder;
  Bytes pam = pamHead(width, height, alpha, maximum);
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

Bytes jxlPixels(const Bytes& file, const std::string& layout, unsigned depth) {
  return samplesThroughPng(file, "jxl", "djxl \"$in\" \"$out\"", layout, depth);
}

Bytes container(const Bytes& codestream, const Bytes& before, const Bytes& after) {
  return concat({box("JXL ", fromHex("0d0a870a")),
                 box("ftyp", fromHex("6a786c20 00000000 6a786c20")), before,
                 box("jxlc", codestream), after});
}

std::vector<std::string> boxTypes(const Bytes& file) {
  std::vector<std::string> types;
  for (const auto& [type, content] : boxes(file)) types.push_back(type);
  return types;
}

Bytes payload(const Bytes& file, const std::string& type) {
  for (const auto& [name, content] : boxes(file)) {
    if (name == type) return content;
  }
  ADD_FAILURE() << "no box " << type;
  return {};
}

}  // namespace kelvo::image_io_test
