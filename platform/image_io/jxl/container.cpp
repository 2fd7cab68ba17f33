#include "platform/image_io/jxl/container.h"

#include <brotli/decode.h>
#include <brotli/encode.h>

#include <algorithm>
#include <array>
#include <functional>
#include <memory>
#include <utility>

namespace kelvo::jxl {
namespace {

SourceStatus damaged(std::string cause) {
  return {.status = CGImageSourceStatus::invalidData, .cause = std::move(cause)};
}

// The parts in their order, the last of them marked.
SourceStatus join(const std::vector<Box>& boxes, std::uint64_t mostBytes,
                  std::vector<std::byte>& joined) {
  std::uint64_t size = 0;
  for (const Box& box : boxes) size += box.type == kPartOfCodestream ? box.payload.size() : 0;
  if (size > mostBytes) {
    return damaged("the parts of its codestream take more memory than is allowed (--max-memory)");
  }
  joined.reserve(size);
  std::uint32_t expected = 0;
  bool ended = false;
  for (const Box& box : boxes) {
    if (box.type != kPartOfCodestream) continue;
    heif::Reader reader(box.payload);
    const std::uint32_t number = reader.u32();
    if (!reader.ok() || ended || (number & ~kLastPart) != expected) {
      return damaged("the parts of its codestream are not in order");
    }
    ended = (number & kLastPart) != 0;
    joined.insert(joined.end(), reader.rest().begin(), reader.rest().end());
    ++expected;
  }
  if (!ended) {
    return {.status = CGImageSourceStatus::incomplete,
            .cause = "the last part of its codestream is missing"};
  }
  return {};
}

}  // namespace

bool Container::has(FourCC type) const {
  return std::any_of(boxes.begin(), boxes.end(),
                     [type](const Box& box) { return contentType(box) == type; });
}

Container readContainer(Bytes file, std::uint64_t mostBytes) {
  Container container;
  if (file.size() >= 2 && file[0] == std::byte{0xFF}) {
    container.codestream = file;
    return container;
  }
  heif::BoxList list = heif::readBoxes(file);
  container.boxes = std::move(list.boxes);
  if (!list.whole) {
    container.status = {.status = list.endsEarly ? CGImageSourceStatus::incomplete
                                                 : CGImageSourceStatus::invalidData,
                        .cause = std::move(list.problem)};
  }
  const auto whole = std::count_if(container.boxes.begin(), container.boxes.end(),
                                   [](const Box& box) { return box.type == kWholeCodestream; });
  const bool parts = std::any_of(container.boxes.begin(), container.boxes.end(),
                                 [](const Box& box) { return box.type == kPartOfCodestream; });
  if (whole + (parts ? 1 : 0) > 1) {
    container.status = damaged("it has more than one codestream");
    return container;
  }
  if (parts) {
    SourceStatus joining = join(container.boxes, mostBytes, container.joined);
    container.codestream = container.joined;
    if (container.status.cause.empty()) container.status = std::move(joining);
    return container;
  }
  for (const Box& box : container.boxes) {
    if (box.type == kWholeCodestream) container.codestream = box.payload;
  }
  if (whole == 0 && container.status.cause.empty()) {
    container.status = damaged("it has no codestream");
  }
  return container;
}

FourCC contentType(const Box& box) {
  return box.type == kCompressedBox ? heif::Reader(box.payload).u32() : box.type;
}

namespace {

// Hands what comes out of a compressed box to `take`, a piece at a time.
Result<void> decompress(const Box& box, std::size_t mostBytes,
                        const std::function<void(Bytes)>& take) {
  const std::unique_ptr<BrotliDecoderState, decltype(&BrotliDecoderDestroyInstance)> state(
      BrotliDecoderCreateInstance(nullptr, nullptr, nullptr), &BrotliDecoderDestroyInstance);
  if (state == nullptr || box.payload.size() < sizeof(FourCC)) {
    return Error{"a compressed box is damaged"};
  }
  const Bytes data = box.payload.subspan(sizeof(FourCC));
  const auto* next = reinterpret_cast<const std::uint8_t*>(data.data());
  std::size_t left = data.size();
  std::vector<std::byte> piece(1 << 16);
  for (std::size_t total = 0;;) {
    auto* out = reinterpret_cast<std::uint8_t*>(piece.data());
    std::size_t room = piece.size();
    const auto result =
        BrotliDecoderDecompressStream(state.get(), &left, &next, &room, &out, nullptr);
    const std::size_t made = piece.size() - room;
    total += made;
    if (total > mostBytes) return Error{"a compressed box is too large"};
    take(Bytes(piece).first(made));
    if (result == BROTLI_DECODER_RESULT_SUCCESS && left == 0) return {};
    if (result != BROTLI_DECODER_RESULT_NEEDS_MORE_OUTPUT) {
      return Error{"a compressed box is damaged"};
    }
  }
}

}  // namespace

Result<std::vector<std::byte>> decompressed(const Box& box, std::size_t mostBytes) {
  std::vector<std::byte> content;
  auto done = decompress(box, mostBytes, [&content](Bytes piece) {
    content.insert(content.end(), piece.begin(), piece.end());
  });
  if (!done) return std::move(done).error();
  return content;
}

Result<std::size_t> decompressedSize(const Box& box, std::size_t mostBytes) {
  std::size_t size = 0;
  auto done = decompress(box, mostBytes, [&size](Bytes piece) { size += piece.size(); });
  if (!done) return std::move(done).error();
  return size;
}

Result<std::vector<std::byte>> compressed(FourCC type, Bytes content) {
  std::size_t size = BrotliEncoderMaxCompressedSize(content.size());
  std::vector<std::byte> payload(sizeof(FourCC) + size);
  for (std::size_t i = 0; i < sizeof(FourCC); ++i) {
    payload[i] = static_cast<std::byte>(type >> (24 - 8 * i));
  }
  constexpr int kQuality = 9;
  if (size == 0 ||
      BrotliEncoderCompress(kQuality, BROTLI_DEFAULT_WINDOW, BROTLI_MODE_GENERIC, content.size(),
                            reinterpret_cast<const std::uint8_t*>(content.data()), &size,
                            reinterpret_cast<std::uint8_t*>(payload.data() + sizeof(FourCC))) ==
          BROTLI_FALSE) {
    return Error{"a box cannot be compressed"};
  }
  payload.resize(sizeof(FourCC) + size);
  return payload;
}

}  // namespace kelvo::jxl
