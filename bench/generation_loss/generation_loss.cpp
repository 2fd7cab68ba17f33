// What a photograph loses when its JPEG file is rewritten again and again, with either way to bring
// subsampled chroma back to full resolution. Prints a table in Markdown.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include <jpeglib.h>

namespace {

struct Picture {
  JDIMENSION width = 0;
  JDIMENSION height = 0;
  std::vector<JSAMPLE> samples;  // three a pixel
};

struct Coding {
  const char* name;
  int horizontal;
  int vertical;
  int quality;
};

// How a decoder brings chroma to full resolution: by interpolating, or by repeating its samples.
enum class Upsampling { smooth, repeated };

using Bytes = std::vector<unsigned char>;

// libjpeg-turbo's own error handler ends the program with a message.
Bytes encode(const Picture& picture, const Coding& coding) {
  jpeg_error_mgr errors;
  jpeg_compress_struct info;
  info.err = jpeg_std_error(&errors);
  jpeg_create_compress(&info);
  unsigned char* data = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&info, &data, &size);
  info.image_width = picture.width;
  info.image_height = picture.height;
  info.input_components = 3;
  info.in_color_space = JCS_RGB;
  jpeg_set_defaults(&info);
  jpeg_set_quality(&info, coding.quality, TRUE);
  info.comp_info[0].h_samp_factor = coding.horizontal;
  info.comp_info[0].v_samp_factor = coding.vertical;
  jpeg_start_compress(&info, TRUE);
  while (info.next_scanline < info.image_height) {
    auto* row = const_cast<JSAMPLE*>(picture.samples.data() +
                                     std::size_t{3} * picture.width * info.next_scanline);
    jpeg_write_scanlines(&info, &row, 1);
  }
  jpeg_finish_compress(&info);
  Bytes bytes(data, data + size);
  jpeg_destroy_compress(&info);
  std::free(data);
  return bytes;
}

Picture decode(const Bytes& bytes, Upsampling upsampling, J_COLOR_SPACE space = JCS_RGB) {
  jpeg_error_mgr errors;
  jpeg_decompress_struct info;
  info.err = jpeg_std_error(&errors);
  jpeg_create_decompress(&info);
  jpeg_mem_src(&info, bytes.data(), bytes.size());
  jpeg_read_header(&info, TRUE);
  info.out_color_space = space;
  info.do_fancy_upsampling = upsampling == Upsampling::smooth ? TRUE : FALSE;
  jpeg_start_decompress(&info);
  Picture picture{info.output_width, info.output_height, {}};
  picture.samples.resize(std::size_t{3} * picture.width * picture.height);
  while (info.output_scanline < info.output_height) {
    JSAMPLE* row = picture.samples.data() + std::size_t{3} * picture.width * info.output_scanline;
    jpeg_read_scanlines(&info, &row, 1);
  }
  jpeg_finish_decompress(&info);
  jpeg_destroy_decompress(&info);
  return picture;
}

// Of the chroma samples as they are stored, in dB; infinite if they are the same.
double chromaPsnr(const Bytes& a, const Bytes& b) {
  const Picture first = decode(a, Upsampling::repeated, JCS_YCbCr);
  const Picture second = decode(b, Upsampling::repeated, JCS_YCbCr);
  double sum = 0;
  for (std::size_t i = 0; i < first.samples.size(); ++i) {
    if (i % 3 == 0) continue;
    const double difference = first.samples[i] - second.samples[i];
    sum += difference * difference;
  }
  return 10 * std::log10(255.0 * 255.0 * 2 / 3 * static_cast<double>(first.samples.size()) / sum);
}

using Color = std::array<double, 3>;

// sRGB to CIE 1976 L*a*b* relative to D65 (IEC 61966-2-1, ISO 11664-4).
Color lab(const JSAMPLE* rgb) {
  Color linear;
  for (std::size_t i = 0; i < 3; ++i) {
    const double value = rgb[i] / 255.0;
    linear[i] = value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
  }
  const auto& [r, g, b] = linear;
  const auto root = [](double t) {
    constexpr double kEdge = 6.0 / 29;
    return t > kEdge * kEdge * kEdge ? std::cbrt(t) : t / (3 * kEdge * kEdge) + 4.0 / 29;
  };
  const double x = root((0.4124 * r + 0.3576 * g + 0.1805 * b) / 0.9505);
  const double y = root(0.2126 * r + 0.7152 * g + 0.0722 * b);
  const double z = root((0.0193 * r + 0.1192 * g + 0.9505 * b) / 1.089);
  return {116 * y - 16, 500 * (x - y), 200 * (y - z)};
}

// The mean distance of their pixels' colours.
double deltaE(const Picture& a, const Picture& b) {
  double sum = 0;
  for (std::size_t i = 0; i < a.samples.size(); i += 3) {
    const Color first = lab(&a.samples[i]);
    const Color second = lab(&b.samples[i]);
    sum += std::hypot(first[0] - second[0], first[1] - second[1], first[2] - second[2]);
  }
  return sum / (static_cast<double>(a.samples.size()) / 3);
}

// As people see it: decoders interpolate unless told otherwise.
Picture shown(const Bytes& bytes) { return decode(bytes, Upsampling::smooth); }

JSAMPLE level(double value) {
  return static_cast<JSAMPLE>(std::lround(std::clamp(value, 0.0, 255.0)));
}

// Adjustments that do not commute with averaging, because they limit.
Picture withContrast(Picture picture) {
  for (JSAMPLE& sample : picture.samples) sample = level((sample - 127.5) * 1.5 + 127.5);
  return picture;
}

Picture withSaturation(Picture picture) {
  for (std::size_t i = 0; i < picture.samples.size(); i += 3) {
    JSAMPLE* const rgb = &picture.samples[i];
    const double luminance = 0.2125 * rgb[0] + 0.7154 * rgb[1] + 0.0721 * rgb[2];
    for (std::size_t k = 0; k < 3; ++k) rgb[k] = level(luminance + (rgb[k] - luminance) * 1.6);
  }
  return picture;
}

// One that turns chroma into detail that is stored at full resolution.
Picture withRedAsGray(Picture picture) {
  for (std::size_t i = 0; i < picture.samples.size(); i += 3) {
    picture.samples[i + 1] = picture.samples[i + 2] = picture.samples[i];
  }
  return picture;
}

Picture withPosterizedLevels(Picture picture) {
  for (JSAMPLE& sample : picture.samples) sample = level(std::min(sample / 64, 3) * 85.0);
  return picture;
}

Picture inverted(Picture picture) {
  for (JSAMPLE& sample : picture.samples) sample = static_cast<JSAMPLE>(255 - sample);
  return picture;
}

constexpr std::array<Picture (*)(Picture), 5> kAdjustments = {
    &inverted, &withContrast, &withSaturation, &withRedAsGray, &withPosterizedLevels};

// Distances are means of delta E.
struct Loss {
  double chromaOnce = 0;   // dB, after one rewriting, against the first file
  double chromaTen = 0;    // dB, after ten
  double shownTen = 0;     // what is shown after ten, against what the first file shows
  double originalTen = 0;  // what is shown after ten, against the original
  // The adjusted file as it is shown, against the adjusted original and against the first file as
  // it is shown, adjusted.
  std::array<double, kAdjustments.size()> fromOriginal = {};
  std::array<double, kAdjustments.size()> fromShown = {};
};

Loss measure(const Picture& original, const Bytes& first, const Coding& coding,
             Upsampling upsampling) {
  Loss loss;
  Bytes file = first;
  for (int i = 1; i <= 10; ++i) {
    file = encode(decode(file, upsampling), coding);
    if (i == 1) loss.chromaOnce = chromaPsnr(file, first);
  }
  loss.chromaTen = chromaPsnr(file, first);
  loss.shownTen = deltaE(shown(file), shown(first));
  loss.originalTen = deltaE(shown(file), original);
  for (std::size_t i = 0; i < kAdjustments.size(); ++i) {
    const Picture result = shown(encode(kAdjustments[i](decode(first, upsampling)), coding));
    loss.fromOriginal[i] = deltaE(result, kAdjustments[i](original));
    loss.fromShown[i] = deltaE(result, kAdjustments[i](shown(first)));
  }
  return loss;
}

Picture readPpm(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::string magic;
  JDIMENSION depth = 0;
  Picture picture;
  file >> magic >> picture.width >> picture.height >> depth;
  file.get();
  picture.samples.resize(std::size_t{3} * picture.width * picture.height);
  file.read(reinterpret_cast<char*>(picture.samples.data()),
            static_cast<std::streamsize>(picture.samples.size()));
  if (!file || magic != "P6" || depth != 255) {
    std::cerr << path << ": not a PPM of 8 bits\n";
    std::exit(EXIT_FAILURE);
  }
  return picture;
}

std::string baseName(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  return name.substr(0, name.rfind('.'));
}

void report(const std::string& path) {
  constexpr std::array kCodings = {Coding{"4:2:0", 2, 2, 75}, Coding{"4:2:0", 2, 2, 90},
                                   Coding{"4:2:0", 2, 2, 97}, Coding{"4:2:2", 2, 1, 75},
                                   Coding{"4:2:2", 2, 1, 90}, Coding{"4:2:2", 2, 1, 97}};
  const Picture original = readPpm(path);
  for (const Coding& coding : kCodings) {
    const Bytes first = encode(original, coding);
    const double firstDistance = deltaE(shown(first), original);
    for (const Upsampling upsampling : {Upsampling::smooth, Upsampling::repeated}) {
      const Loss loss = measure(original, first, coding, upsampling);
      std::printf("| %s | %s, %d | %s | %.1f | %.1f | %.2f | %.2f | %.2f |", baseName(path).c_str(),
                  coding.name, coding.quality,
                  upsampling == Upsampling::smooth ? "smooth" : "repeated", loss.chromaOnce,
                  loss.chromaTen, loss.shownTen, firstDistance, loss.originalTen);
      for (std::size_t i = 0; i < kAdjustments.size(); ++i) {
        std::printf(" %.2f, %.2f |", loss.fromOriginal[i], loss.fromShown[i]);
      }
      std::printf("\n");
    }
  }
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 2) {
    std::cerr << "usage: generation_loss PICTURE.ppm...\n";
    return 2;
  }
  std::printf(
      "| picture | sampling, quality | upsampling | chroma, 1 | chroma, 10 | shown, 10 | original, "
      "first | original, 10 | inverted | contrast | saturation | red as gray | posterized |\n"
      "|---|---|---|---|---|---|---|---|---|---|---|---|---|\n");
  for (int i = 1; i < count; ++i) report(arguments[i]);
}
