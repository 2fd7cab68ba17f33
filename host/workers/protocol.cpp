#include "host/workers/protocol.h"

#include <bit>
#include <concepts>
#include <utility>

namespace kelvo::host {
namespace {

enum class Kind : std::uint8_t {
  setup = 1,
  file,
  ready,
  setupFailed,
  log,
  done,
  pictureRequest,
  picture,
  progress
};
enum class ValueKind : std::uint8_t { text = 1, real, whole };

constexpr std::size_t kHeader = 4;
constexpr std::size_t kReadBytesKept = std::size_t{1}
                                       << 16U;  // then they are worth moving the rest

class Writer {
 public:
  template <std::unsigned_integral Number>
  void number(Number value) {
    for (std::size_t i = 0; i < sizeof value; ++i) {
      bytes_ += static_cast<char>(static_cast<std::uint64_t>(value) >> (8 * i) & 0xFFU);
    }
  }
  void flag(bool value) { number(static_cast<std::uint8_t>(value)); }
  void text(std::string_view value) {
    number(static_cast<std::uint32_t>(value.size()));
    bytes_ += value;
  }
  void texts(const std::vector<std::string>& values) {
    number(static_cast<std::uint32_t>(values.size()));
    for (const std::string& value : values) {
      text(value);
    }
  }
  void value(const ParameterValue& value) {
    if (const auto* words = std::get_if<std::string>(&value.stored())) {
      number(static_cast<std::uint8_t>(ValueKind::text));
      text(*words);
    } else if (const auto* real = std::get_if<double>(&value.stored())) {
      number(static_cast<std::uint8_t>(ValueKind::real));
      number(std::bit_cast<std::uint64_t>(*real));
    } else {
      number(static_cast<std::uint8_t>(ValueKind::whole));
      number(static_cast<std::uint64_t>(*std::get_if<std::int64_t>(&value.stored())));
    }
  }
  [[nodiscard]] std::string take() { return std::move(bytes_); }

 private:
  std::string bytes_;
};

// After a failure every reading gives 0 or nothing; ok() is asked once, at the end.
class Reader {
 public:
  explicit Reader(std::string_view bytes) : bytes_(bytes) {}

  template <std::unsigned_integral Number>
  Number number() {
    if (bytes_.size() < sizeof(Number)) {
      fail();
      return 0;
    }
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < sizeof(Number); ++i) {
      value |= std::uint64_t{static_cast<unsigned char>(bytes_[i])} << (8 * i);
    }
    bytes_.remove_prefix(sizeof(Number));
    return static_cast<Number>(value);
  }
  bool flag() {
    const auto value = number<std::uint8_t>();
    if (value > 1) {
      fail();
    }
    return value == 1;
  }
  std::string text() {
    const auto size = number<std::uint32_t>();
    if (bytes_.size() < size) {
      fail();
      return {};
    }
    std::string value(bytes_.substr(0, size));
    bytes_.remove_prefix(size);
    return value;
  }
  ParameterValue value() {
    switch (static_cast<ValueKind>(number<std::uint8_t>())) {
      case ValueKind::text:
        return {text()};
      case ValueKind::real:
        return {std::bit_cast<double>(number<std::uint64_t>())};
      case ValueKind::whole:
        return {static_cast<std::int64_t>(number<std::uint64_t>())};
    }
    fail();
    return {std::string{}};
  }
  // A count of things of at least one byte each: what the payload cannot hold is no count.
  std::size_t count() {
    const auto value = number<std::uint32_t>();
    if (value > bytes_.size()) {
      fail();
      return 0;
    }
    return value;
  }
  std::vector<std::string> texts() {
    std::vector<std::string> values(count());
    for (std::string& value : values) {
      value = text();
    }
    return values;
  }
  [[nodiscard]] bool ok() const { return !failed_ && bytes_.empty(); }

 private:
  void fail() {
    failed_ = true;
    bytes_ = {};
  }

  std::string_view bytes_;
  bool failed_ = false;
};

void write(Writer& writer, const SetupMessage& message) {
  writer.text(message.bundlePath);
  writer.number(message.maxPixels);
  writer.number(message.maxFrames);
  writer.number(message.maxMemoryBytes);
  writer.number(message.threads);
  writer.flag(message.keepDepth);
  writer.flag(message.dropGainMap);
  writer.flag(message.keepTimes);
  writer.flag(message.breakLinks);
  writer.flag(message.dryRun);
  writer.texts(message.writable);
  writer.number(static_cast<std::uint32_t>(message.parameters.all().size()));
  for (const auto& [key, value] : message.parameters.all()) {
    writer.text(key);
    writer.value(value);
  }
}

SetupMessage readSetup(Reader& reader) {
  SetupMessage message;
  message.bundlePath = reader.text();
  message.maxPixels = reader.number<std::uint64_t>();
  message.maxFrames = reader.number<std::uint64_t>();
  message.maxMemoryBytes = reader.number<std::uint64_t>();
  message.threads = reader.number<std::uint32_t>();
  message.keepDepth = reader.flag();
  message.dropGainMap = reader.flag();
  message.keepTimes = reader.flag();
  message.breakLinks = reader.flag();
  message.dryRun = reader.flag();
  message.writable = reader.texts();
  const std::size_t count = reader.count();
  for (std::size_t i = 0; i < count; ++i) {
    std::string key = reader.text();
    message.parameters.setObject_forKey(reader.value(), std::move(key));
  }
  return message;
}

void write(Writer& writer, const FileMessage& message) {
  writer.text(message.path);
  writer.text(message.copyFrom);
  writer.text(message.backupSuffix);
}

FileMessage readFile(Reader& reader) {
  FileMessage message;
  message.path = reader.text();
  message.copyFrom = reader.text();
  message.backupSuffix = reader.text();
  return message;
}

void write(Writer& /*writer*/, const ReadyMessage& /*message*/) {}

void write(Writer& writer, const SetupFailedMessage& message) { writer.text(message.message); }

void write(Writer& writer, const LogMessage& message) {
  writer.text(message.text);
  writer.text(message.path);
  writer.text(message.detail);
}

LogMessage readLog(Reader& reader) {
  LogMessage message;
  message.text = reader.text();
  message.path = reader.text();
  message.detail = reader.text();
  return message;
}

void write(Writer& writer, const ProgressMessage& message) { writer.number(message.pixels); }

void write(Writer& writer, const DoneMessage& message) {
  writer.flag(message.rewritten);
  writer.number(message.frames);
  writer.number(message.sourceDepth);
  writer.number(message.writtenDepth);
  writer.texts(message.warnings);
}

DoneMessage readDone(Reader& reader) {
  DoneMessage message;
  message.rewritten = reader.flag();
  message.frames = reader.number<std::uint64_t>();
  message.sourceDepth = reader.number<std::uint32_t>();
  message.writtenDepth = reader.number<std::uint32_t>();
  message.warnings = reader.texts();
  return message;
}

void write(Writer& writer, const PictureRequestMessage& message) {
  writer.text(message.path);
  writer.number(message.longerSide);
}

PictureRequestMessage readPictureRequest(Reader& reader) {
  PictureRequestMessage message;
  message.path = reader.text();
  message.longerSide = reader.number<std::uint32_t>();
  return message;
}

void write(Writer& writer, const PictureMessage& message) {
  writer.text(message.failure);
  writer.text(message.format);
  writer.number(message.frames);
  writer.number(message.fullWidth);
  writer.number(message.fullHeight);
  writer.flag(message.adjustable);
  writer.number(message.width);
  writer.number(message.height);
  writer.text(message.pixels);
}

PictureMessage readPicture(Reader& reader) {
  PictureMessage message;
  message.failure = reader.text();
  message.format = reader.text();
  message.frames = reader.number<std::uint64_t>();
  message.fullWidth = reader.number<std::uint32_t>();
  message.fullHeight = reader.number<std::uint32_t>();
  message.adjustable = reader.flag();
  message.width = reader.number<std::uint32_t>();
  message.height = reader.number<std::uint32_t>();
  message.pixels = reader.text();
  return message;
}

Kind kindOf(const SetupMessage&) { return Kind::setup; }
Kind kindOf(const FileMessage&) { return Kind::file; }
Kind kindOf(const ReadyMessage&) { return Kind::ready; }
Kind kindOf(const SetupFailedMessage&) { return Kind::setupFailed; }
Kind kindOf(const LogMessage&) { return Kind::log; }
Kind kindOf(const DoneMessage&) { return Kind::done; }
Kind kindOf(const PictureRequestMessage&) { return Kind::pictureRequest; }
Kind kindOf(const PictureMessage&) { return Kind::picture; }
Kind kindOf(const ProgressMessage&) { return Kind::progress; }

std::optional<Message> readMessage(Reader& reader) {
  switch (static_cast<Kind>(reader.number<std::uint8_t>())) {
    case Kind::setup:
      return readSetup(reader);
    case Kind::file:
      return readFile(reader);
    case Kind::ready:
      return ReadyMessage{};
    case Kind::setupFailed:
      return SetupFailedMessage{reader.text()};
    case Kind::log:
      return readLog(reader);
    case Kind::done:
      return readDone(reader);
    case Kind::pictureRequest:
      return readPictureRequest(reader);
    case Kind::picture:
      return readPicture(reader);
    case Kind::progress:
      return ProgressMessage{reader.number<std::uint64_t>()};
  }
  return std::nullopt;
}

}  // namespace

std::string encodeFrame(const Message& message) {
  Writer payload;
  std::visit(
      [&payload](const auto& content) {
        payload.number(static_cast<std::uint8_t>(kindOf(content)));
        write(payload, content);
      },
      message);
  Writer frame;
  frame.text(payload.take());
  return frame.take();
}

Result<Message> decodePayload(std::string_view payload) {
  Reader reader(payload);
  auto message = readMessage(reader);
  if (!message || !reader.ok()) {
    return Error{"a message between the host and its worker is damaged"};
  }
  return std::move(*message);
}

Result<std::optional<Message>> FrameReader::next() {
  const std::string_view rest = std::string_view(bytes_).substr(start_);
  if (rest.size() < kHeader) {
    return std::optional<Message>{};
  }
  const std::size_t size = Reader(rest.substr(0, kHeader)).number<std::uint32_t>();
  if (size > kLargestPayload) {
    return Error{"a message between the host and its worker is too large"};
  }
  if (rest.size() - kHeader < size) {
    return std::optional<Message>{};
  }
  auto message = decodePayload(rest.substr(kHeader, size));
  start_ += kHeader + size;
  if (start_ == bytes_.size() || start_ > kReadBytesKept) {
    bytes_.erase(0, start_);
    start_ = 0;
  }
  if (!message) {
    return message.error();
  }
  return std::optional<Message>(std::move(message).value());
}

}  // namespace kelvo::host
