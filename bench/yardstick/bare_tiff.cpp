// What a TIFF file must cost at the least: every strip of every page is unpacked and packed again
// in the same way, deflate by libdeflate and everything else by libtiff. No adjustment, few tags.
#include <libdeflate.h>
#include <tiffio.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

namespace {

constexpr int kLevel = 1;  // the quickest; its files are no larger than those of zlib's own level

struct Close {
  void operator()(TIFF* file) const { TIFFClose(file); }
};
using File = std::unique_ptr<TIFF, Close>;
using Bytes = std::vector<std::uint8_t>;

[[noreturn]] void fail(const char* text) {
  std::fprintf(stderr, "bare_tiff: %s\n", text);
  std::exit(1);
}

template <typename T>
T field(TIFF* file, std::uint32_t tag) {
  T value{};
  if (TIFFGetFieldDefaulted(file, tag, &value) != 1) fail("a tag is missing");
  return value;
}

void copyFields(TIFF* in, TIFF* out) {
  constexpr std::array<std::uint32_t, 3> kWide = {TIFFTAG_IMAGEWIDTH, TIFFTAG_IMAGELENGTH,
                                                  TIFFTAG_ROWSPERSTRIP};
  constexpr std::array<std::uint32_t, 5> kNarrow = {TIFFTAG_BITSPERSAMPLE, TIFFTAG_SAMPLESPERPIXEL,
                                                    TIFFTAG_COMPRESSION, TIFFTAG_PHOTOMETRIC,
                                                    TIFFTAG_PLANARCONFIG};
  for (const auto tag : kWide) TIFFSetField(out, tag, field<std::uint32_t>(in, tag));
  for (const auto tag : kNarrow) TIFFSetField(out, tag, field<std::uint16_t>(in, tag));
  const auto compression = field<std::uint16_t>(in, TIFFTAG_COMPRESSION);
  if (compression == COMPRESSION_LZW || compression == COMPRESSION_ADOBE_DEFLATE) {
    TIFFSetField(out, TIFFTAG_PREDICTOR, field<std::uint16_t>(in, TIFFTAG_PREDICTOR));
  }
}

class DeflatedStrips {
 public:
  DeflatedStrips(TIFF* in, TIFF* out)
      : in_(in),
        out_(out),
        rowBytes_(static_cast<std::size_t>(TIFFScanlineSize(in))),
        channels_(field<std::uint16_t>(in, TIFFTAG_SAMPLESPERPIXEL)),
        predicted_(field<std::uint16_t>(in, TIFFTAG_PREDICTOR) == PREDICTOR_HORIZONTAL),
        rows_(static_cast<std::size_t>(TIFFStripSize(in))),
        packed_(libdeflate_zlib_compress_bound(packer_.get(), rows_.size())) {
    if (field<std::uint16_t>(in, TIFFTAG_BITSPERSAMPLE) != 8) fail("not 8 bits a channel");
  }

  void transcode(std::uint32_t strip) {
    const auto stored = static_cast<std::size_t>(TIFFRawStripSize(in_, strip));
    if (stored > packed_.size()) packed_.resize(stored);
    const auto got = TIFFReadRawStrip(in_, strip, packed_.data(), static_cast<tmsize_t>(stored));
    std::size_t size = 0;
    if (got < 0 || libdeflate_zlib_decompress(unpacker_.get(), packed_.data(), stored, rows_.data(),
                                              rows_.size(), &size) != LIBDEFLATE_SUCCESS) {
      fail("a strip cannot be unpacked");
    }
    if (predicted_) repredict(size);
    const std::size_t packedSize =
        libdeflate_zlib_compress(packer_.get(), rows_.data(), size, packed_.data(), packed_.size());
    if (packedSize == 0 ||
        TIFFWriteRawStrip(out_, strip, packed_.data(), static_cast<tmsize_t>(packedSize)) < 0) {
      fail("a strip cannot be written");
    }
  }

 private:
  // Differences to samples, as an adjustment needs them, and back.
  void repredict(std::size_t size) {
    for (std::size_t row = 0; row < size; row += rowBytes_) {
      for (std::size_t i = row + channels_; i < row + rowBytes_; ++i) {
        rows_[i] = static_cast<std::uint8_t>(rows_[i] + rows_[i - channels_]);
      }
      for (std::size_t i = row + rowBytes_ - 1; i >= row + channels_; --i) {
        rows_[i] = static_cast<std::uint8_t>(rows_[i] - rows_[i - channels_]);
      }
    }
  }

  TIFF* in_;
  TIFF* out_;
  std::size_t rowBytes_;
  std::size_t channels_;
  bool predicted_;
  std::unique_ptr<libdeflate_decompressor, decltype(&libdeflate_free_decompressor)> unpacker_{
      libdeflate_alloc_decompressor(), libdeflate_free_decompressor};
  std::unique_ptr<libdeflate_compressor, decltype(&libdeflate_free_compressor)> packer_{
      libdeflate_alloc_compressor(kLevel), libdeflate_free_compressor};
  Bytes rows_;
  Bytes packed_;
};

void transcodePage(TIFF* in, TIFF* out) {
  if (TIFFIsTiled(in) != 0) fail("tiles");
  copyFields(in, out);
  const std::uint32_t strips = TIFFNumberOfStrips(in);
  if (field<std::uint16_t>(in, TIFFTAG_COMPRESSION) == COMPRESSION_ADOBE_DEFLATE) {
    DeflatedStrips deflated(in, out);
    for (std::uint32_t strip = 0; strip < strips; ++strip) deflated.transcode(strip);
    return;
  }
  Bytes rows(static_cast<std::size_t>(TIFFStripSize(in)));
  for (std::uint32_t strip = 0; strip < strips; ++strip) {
    const tmsize_t size =
        TIFFReadEncodedStrip(in, strip, rows.data(), static_cast<tmsize_t>(rows.size()));
    if (size < 0) fail("a strip cannot be read");
    if (TIFFWriteEncodedStrip(out, strip, rows.data(), size) < 0) fail("cannot write");
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fputs("usage: bare_tiff IN OUT\n", stderr);
    return 2;
  }
  const File in(TIFFOpen(argv[1], "r"));
  const File out(TIFFOpen(argv[2], "w"));
  if (!in || !out) return 1;
  do {
    transcodePage(in.get(), out.get());
    if (TIFFWriteDirectory(out.get()) != 1) fail("cannot write");
  } while (TIFFReadDirectory(in.get()) == 1);
  return 0;
}
