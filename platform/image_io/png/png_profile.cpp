#include "platform/image_io/png/png_profile.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "platform/image_io/png/png_file.h"

namespace kelvo {
namespace {

constexpr std::size_t kProfileHeaderBytes = 128;
// Profiles with large tables have some megabytes; what claims to be larger is after our memory.
constexpr std::size_t kMaxProfileBytes = std::size_t{32} << 20;
constexpr std::string_view kProfileName = "ICC profile";

class Inflater {
 public:
  explicit Inflater(std::span<const std::byte> packed) {
    stream_.next_in = reinterpret_cast<z_const Bytef*>(const_cast<std::byte*>(packed.data()));
    stream_.avail_in = static_cast<uInt>(packed.size());
    open_ = inflateInit(&stream_) == Z_OK;
  }
  ~Inflater() {
    if (open_) inflateEnd(&stream_);
  }
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;

  // True if all of `out` was filled.
  bool fill(std::span<std::byte> out) {
    if (!open_) return false;
    stream_.next_out = reinterpret_cast<Bytef*>(out.data());
    stream_.avail_out = static_cast<uInt>(out.size());
    inflate(&stream_, Z_SYNC_FLUSH);
    return stream_.avail_out == 0;
  }

 private:
  z_stream stream_{};
  bool open_ = false;
};

}  // namespace

std::vector<std::byte> readPngProfile(std::span<const std::byte> chunkData) {
  const auto nameEnd = std::find(chunkData.begin(), chunkData.end(), std::byte{0});
  // The name, a zero, and the method of compression, of which there is one.
  if (chunkData.end() - nameEnd < 2 || nameEnd[1] != std::byte{0}) return {};
  Inflater inflater(std::span<const std::byte>(nameEnd + 2, chunkData.end()));
  std::array<std::byte, kProfileHeaderBytes> header;
  if (!inflater.fill(header)) return {};
  const std::size_t size = readBigEndian32(header);
  if (size < kProfileHeaderBytes || size > kMaxProfileBytes) return {};
  std::vector<std::byte> profile(size);
  std::copy(header.begin(), header.end(), profile.begin());
  if (!inflater.fill(std::span(profile).subspan(kProfileHeaderBytes))) return {};
  return profile;
}

std::vector<std::byte> packPngProfile(std::span<const std::byte> profile) {
  std::vector<std::byte> data;
  for (const char c : kProfileName) data.push_back(static_cast<std::byte>(c));
  data.resize(data.size() + 2);  // the name's end; method 0
  const std::size_t start = data.size();
  uLongf size = compressBound(static_cast<uLong>(profile.size()));
  data.resize(start + size);
  compress(reinterpret_cast<Bytef*>(data.data() + start), &size,
           reinterpret_cast<const Bytef*>(profile.data()), static_cast<uLong>(profile.size()));
  data.resize(start + size);
  return data;
}

}  // namespace kelvo
