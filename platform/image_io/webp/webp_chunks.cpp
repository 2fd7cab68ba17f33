#include <fmt/format.h>

#include "platform/image_io/little_endian.h"
#include "platform/image_io/webp/webp_file.h"

namespace kelvo {

WebpChunks readWebpChunks(std::span<const std::byte> bytes) {
  WebpChunks found;
  while (!bytes.empty()) {
    if (bytes.size() < kChunkHeaderBytes) {
      found.cause = "a chunk ends inside its header";
      break;
    }
    WebpChunk chunk;
    for (std::size_t i = 0; i < 4; ++i) chunk.type[i] = static_cast<char>(bytes[i]);
    const std::size_t length = readLittleEndian32(bytes, 4);
    const std::size_t padded = length + length % 2;
    if (bytes.size() - kChunkHeaderBytes < padded) {
      found.cause = fmt::format("there is room for {} of the {} bytes of a chunk",
                                bytes.size() - kChunkHeaderBytes, padded);
      break;
    }
    chunk.data = bytes.subspan(kChunkHeaderBytes, length);
    chunk.whole = bytes.first(kChunkHeaderBytes + padded);
    found.chunks.push_back(chunk);
    bytes = bytes.subspan(chunk.whole.size());
  }
  return found;
}

}  // namespace kelvo
