#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/foundation/parameter_value.h"
#include "platform/foundation/result.h"

// What the host and its worker processes say to each other. Both are the same program, so there are
// no versions; still nothing that arrives is trusted to be well formed.
namespace kelvo::host {

// Host to worker, once: what to load and how to run it.
struct SetupMessage {
  std::string bundlePath;
  ParameterDictionary parameters;
  std::vector<std::string> writable;  // directories, the only ones the action may write to
  std::uint64_t maxPixels = 0;
  std::uint64_t maxFrames = 0;
  std::uint64_t maxMemoryBytes = 0;  // this worker's share
  std::uint32_t threads = 1;         // that one file may keep busy
  bool keepDepth = false;
  bool dropGainMap = false;
  bool keepTimes = false;
  bool breakLinks = false;
  bool dryRun = false;
  friend bool operator==(const SetupMessage&, const SetupMessage&) = default;
};

// Host to worker: one file. The worker answers with any number of logs and signs of progress, and
// one done.
struct FileMessage {
  std::string path;
  std::string copyFrom;      // not empty: `path` is to be made, as a copy of this, first
  std::string backupSuffix;  // empty: no backup
  friend bool operator==(const FileMessage&, const FileMessage&) = default;
};

// Worker to host: the action is loaded and opened.
struct ReadyMessage {
  friend bool operator==(const ReadyMessage&, const ReadyMessage&) = default;
};

// Worker to host: it is not, and why.
struct SetupFailedMessage {
  std::string message;
  friend bool operator==(const SetupFailedMessage&, const SetupFailedMessage&) = default;
};

// Worker to host: one line of the log.
struct LogMessage {
  std::string text;
  std::string path;
  std::string detail;
  friend bool operator==(const LogMessage&, const LogMessage&) = default;
};

// Worker to host, from time to time: the file is getting on.
struct ProgressMessage {
  std::uint64_t pixels = 0;  // of the frame in work
  friend bool operator==(const ProgressMessage&, const ProgressMessage&) = default;
};

// Worker to host: what became of the file.
struct DoneMessage {
  bool rewritten = false;
  std::uint64_t frames = 0;
  std::uint32_t sourceDepth = 0;
  std::uint32_t writtenDepth = 0;
  std::vector<std::string> warnings;
  friend bool operator==(const DoneMessage&, const DoneMessage&) = default;
};

// Host to worker, in place of a setup: a small picture of a file's first frame, to look at. The
// worker answers with any number of logs and signs of progress, and one picture, and may be asked
// again.
struct PictureRequestMessage {
  std::string path;
  std::uint32_t longerSide = 0;  // of the picture at most, in pixels; not 0
  friend bool operator==(const PictureRequestMessage&, const PictureRequestMessage&) = default;
};

// Worker to host: the picture, or why there is none.
struct PictureMessage {
  std::string failure;          // a clause; not empty: there is no picture
  std::string format;           // "JPEG"
  std::uint64_t frames = 0;     // of the file
  std::uint32_t fullWidth = 0;  // of the frame
  std::uint32_t fullHeight = 0;
  bool adjustable = false;  // an RGB frame in a format that is written
  std::uint32_t width = 0;  // of the picture
  std::uint32_t height = 0;
  std::string pixels;  // r, g, b, a of 8 bits each, premultiplied; rows without gaps
  friend bool operator==(const PictureMessage&, const PictureMessage&) = default;
};

using Message =
    std::variant<SetupMessage, FileMessage, ReadyMessage, SetupFailedMessage, LogMessage,
                 DoneMessage, PictureRequestMessage, PictureMessage, ProgressMessage>;

// A frame is the payload's length (4 bytes, least significant first) and the payload.
constexpr std::size_t kLargestPayload = std::size_t{64} << 20U;

std::string encodeFrame(const Message& message);

// The message of one payload. An error if it is cut short, goes on too long or makes no sense.
Result<Message> decodePayload(std::string_view payload);

// Puts frames together again from bytes that arrive in pieces of any size.
class FrameReader {
 public:
  void append(std::string_view bytes) { bytes_.append(bytes); }

  // The next whole message; absent while it is not all there. After an error nothing more can be
  // read.
  Result<std::optional<Message>> next();

  // Whether part of a frame is waiting for its rest.
  [[nodiscard]] bool midFrame() const { return start_ < bytes_.size(); }

 private:
  std::string bytes_;
  std::size_t start_ = 0;  // what lies before has been read
};

}  // namespace kelvo::host
