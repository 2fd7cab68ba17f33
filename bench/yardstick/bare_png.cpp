// What a PNG file must cost at the least: libdeflate unpacks all of it, the rows' filters are
// undone and chosen anew by the least sum of differences, libdeflate packs it at its quickest
// level. No adjustment, nothing but the header, the picture and the end in the new file.
#include <libdeflate.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

[[noreturn]] void fail(const char* text) {
  std::fprintf(stderr, "bare_png: %s\n", text);
  std::exit(1);
}

std::uint32_t bigEndian(const std::uint8_t* at) {
  return std::uint32_t{at[0]} << 24 | std::uint32_t{at[1]} << 16 | std::uint32_t{at[2]} << 8 |
         at[3];
}

void append(Bytes& to, std::uint32_t value) {
  for (const int shift : {24, 16, 8, 0}) to.push_back(static_cast<std::uint8_t>(value >> shift));
}

void appendChunk(Bytes& to, std::string_view type, std::span<const std::uint8_t> data) {
  append(to, static_cast<std::uint32_t>(data.size()));
  const std::size_t start = to.size();
  to.insert(to.end(), type.begin(), type.end());
  to.insert(to.end(), data.begin(), data.end());
  append(to, libdeflate_crc32(0, to.data() + start, to.size() - start));
}

struct Picture {
  Bytes header;  // IHDR
  Bytes packed;
  std::size_t rowBytes = 0;
  std::size_t rows = 0;
  std::size_t pixelBytes = 0;
};

Picture parse(const Bytes& file) {
  Picture picture;
  std::size_t at = 8;
  while (at + 12 <= file.size()) {
    const std::size_t size = bigEndian(&file[at]);
    const std::string_view type(reinterpret_cast<const char*>(&file[at + 4]), 4);
    if (file.size() - at - 12 < size) fail("cut short");
    const auto* const data = file.data() + at + 8;
    if (type == "IHDR") picture.header.assign(data, data + size);
    if (type == "IDAT") picture.packed.insert(picture.packed.end(), data, data + size);
    at += size + 12;
  }
  if (picture.header.size() != 13 || picture.header[12] != 0) fail("not a plain PNG");
  const std::size_t channels = picture.header[9] == 2 ? 3 : picture.header[9] == 6 ? 4 : 0;
  const std::size_t depth = picture.header[8];
  if (channels == 0 || depth < 8) fail("neither RGB nor RGBA");
  picture.pixelBytes = channels * depth / 8;
  picture.rowBytes = picture.pixelBytes * bigEndian(picture.header.data());
  picture.rows = bigEndian(&picture.header[4]);
  return picture;
}

int paeth(int left, int up, int corner) {
  const int toLeft = std::abs(up - corner);
  const int toUp = std::abs(left - corner);
  const int toCorner = std::abs(left + up - 2 * corner);
  const int upOrCorner = toUp <= toCorner ? up : corner;
  return toLeft <= toUp && toLeft <= toCorner ? left : upOrCorner;
}

// What filter number Filter expects of a byte.
template <int Filter>
int predicted(int left, int up, int corner) {
  if constexpr (Filter == 1) return left;
  if constexpr (Filter == 2) return up;
  if constexpr (Filter == 3) return (left + up) / 2;
  if constexpr (Filter == 4) return paeth(left, up, corner);
  return 0;
}

// Rows are preceded by a pixel of zeros.
template <int Filter, std::size_t Pixel>
void undo(std::uint8_t* row, const std::uint8_t* above, std::size_t size) {
  if constexpr (Filter == 0) return;
  for (std::size_t i = 0; i < size; i += Pixel) {
    for (std::size_t c = 0; c < Pixel; ++c) {
      std::uint8_t* const at = row + i + c;
      const std::uint8_t* const up = above + i + c;
      *at = static_cast<std::uint8_t>(*at + predicted<Filter>(*(at - Pixel), *up, *(up - Pixel)));
    }
  }
}

template <int Filter, std::size_t Pixel>
std::uint64_t apply(const std::uint8_t* row, const std::uint8_t* above, std::size_t size,
                    std::uint8_t* out) {
  constexpr std::size_t kRun = 4096;  // whose sum fits 32 bits
  std::uint64_t total = 0;
  for (std::size_t start = 0; start < size; start += kRun) {
    const std::size_t end = std::min(size, start + kRun);
    std::uint32_t sum = 0;
    for (std::size_t i = start; i < end; ++i) {
      const std::uint8_t* const at = row + i;
      const std::uint8_t* const up = above + i;
      const auto value =
          static_cast<std::uint8_t>(*at - predicted<Filter>(*(at - Pixel), *up, *(up - Pixel)));
      out[i] = value;
      sum += static_cast<std::uint32_t>(std::min<int>(value, 256 - value));
    }
    total += sum;
  }
  return total;
}

template <std::size_t Pixel>
struct Filters {
  using Undo = void (*)(std::uint8_t*, const std::uint8_t*, std::size_t);
  using Apply = std::uint64_t (*)(const std::uint8_t*, const std::uint8_t*, std::size_t,
                                  std::uint8_t*);
  static constexpr std::array<Undo, 5> kUndo = {undo<0, Pixel>, undo<1, Pixel>, undo<2, Pixel>,
                                                undo<3, Pixel>, undo<4, Pixel>};
  static constexpr std::array<Apply, 5> kApply = {apply<0, Pixel>, apply<1, Pixel>, apply<2, Pixel>,
                                                  apply<3, Pixel>, apply<4, Pixel>};
};

// Filters all rows anew, in place of what they were.
template <std::size_t Pixel>
void refilter(Bytes& rows, std::size_t rowBytes) {
  Bytes now(Pixel + rowBytes);
  Bytes above(Pixel + rowBytes);
  Bytes tried(rowBytes);
  for (std::size_t at = 0; at < rows.size(); at += rowBytes + 1) {
    std::uint8_t* const stored = &rows[at];
    if (*stored > 4) fail("an unknown filter");
    std::copy_n(stored + 1, rowBytes, now.data() + Pixel);
    Filters<Pixel>::kUndo[*stored](now.data() + Pixel, above.data() + Pixel, rowBytes);
    std::uint64_t least = UINT64_MAX;
    for (std::uint8_t filter = 0; filter < 5; ++filter) {
      const std::uint64_t sum = Filters<Pixel>::kApply[filter](
          now.data() + Pixel, above.data() + Pixel, rowBytes, tried.data());
      if (sum >= least) continue;
      least = sum;
      *stored = filter;
      std::copy(tried.begin(), tried.end(), stored + 1);
    }
    now.swap(above);
  }
}

void refilter(Bytes& rows, const Picture& picture) {
  switch (picture.pixelBytes) {
    case 3:
      return refilter<3>(rows, picture.rowBytes);
    case 4:
      return refilter<4>(rows, picture.rowBytes);
    case 6:
      return refilter<6>(rows, picture.rowBytes);
    default:
      return refilter<8>(rows, picture.rowBytes);
  }
}

Bytes transcode(const Bytes& file) {
  constexpr int kQuickest = 1;
  const Picture picture = parse(file);
  Bytes rows(picture.rows * (picture.rowBytes + 1));
  const std::unique_ptr<libdeflate_decompressor, decltype(&libdeflate_free_decompressor)> unpacker(
      libdeflate_alloc_decompressor(), libdeflate_free_decompressor);
  if (libdeflate_zlib_decompress(unpacker.get(), picture.packed.data(), picture.packed.size(),
                                 rows.data(), rows.size(), nullptr) != LIBDEFLATE_SUCCESS) {
    fail("cannot be unpacked");
  }
  refilter(rows, picture);
  const std::unique_ptr<libdeflate_compressor, decltype(&libdeflate_free_compressor)> packer(
      libdeflate_alloc_compressor(kQuickest), libdeflate_free_compressor);
  Bytes packed(libdeflate_zlib_compress_bound(packer.get(), rows.size()));
  packed.resize(libdeflate_zlib_compress(packer.get(), rows.data(), rows.size(), packed.data(),
                                         packed.size()));
  Bytes out(file.begin(), file.begin() + 8);
  appendChunk(out, "IHDR", picture.header);
  appendChunk(out, "IDAT", packed);
  appendChunk(out, "IEND", {});
  return out;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fputs("usage: bare_png IN OUT\n", stderr);
    return 2;
  }
  std::ifstream in(argv[1], std::ios::binary | std::ios::ate);
  if (!in) fail("cannot open the file");
  Bytes file(static_cast<std::size_t>(in.tellg()));
  in.seekg(0);
  in.read(reinterpret_cast<char*>(file.data()), static_cast<std::streamsize>(file.size()));
  const Bytes result = transcode(file);
  std::ofstream out(argv[2], std::ios::binary);
  out.write(reinterpret_cast<const char*>(result.data()),
            static_cast<std::streamsize>(result.size()));
  return out.flush() ? 0 : 1;
}
