#include "platform/image_io/jpeg2000/library.h"

#include <algorithm>
#include <limits>

namespace kelvo::jpeg2000 {
namespace {

constexpr std::size_t kBufferBytes = 1 << 16;
constexpr auto kFailed = static_cast<OPJ_SIZE_T>(-1);

OPJ_SIZE_T read(void* buffer, OPJ_SIZE_T count, void* user) {
  auto& reading = *static_cast<Reading*>(user);
  const std::size_t left = reading.bytes.size() - reading.position;
  if (left == 0) return kFailed;
  const std::size_t taken = std::min<std::size_t>(count, left);
  std::copy_n(reading.bytes.begin() + static_cast<std::ptrdiff_t>(reading.position), taken,
              static_cast<std::byte*>(buffer));
  reading.position += taken;
  return taken;
}

OPJ_OFF_T skipReading(OPJ_OFF_T count, void* user) {
  auto& reading = *static_cast<Reading*>(user);
  if (count < 0) return -1;
  const std::size_t left = reading.bytes.size() - reading.position;
  const std::size_t taken = std::min(static_cast<std::size_t>(count), left);
  reading.position += taken;
  return taken == 0 && count > 0 ? -1 : static_cast<OPJ_OFF_T>(taken);
}

OPJ_BOOL seekReading(OPJ_OFF_T position, void* user) {
  auto& reading = *static_cast<Reading*>(user);
  if (position < 0 || static_cast<std::size_t>(position) > reading.bytes.size()) return OPJ_FALSE;
  reading.position = static_cast<std::size_t>(position);
  return OPJ_TRUE;
}

OPJ_SIZE_T write(void* buffer, OPJ_SIZE_T count, void* user) {
  auto& writing = *static_cast<Writing*>(user);
  if (writing.position + count > writing.bytes.size()) {
    writing.bytes.resize(writing.position + count);
  }
  std::copy_n(static_cast<const std::byte*>(buffer), count,
              writing.bytes.begin() + static_cast<std::ptrdiff_t>(writing.position));
  writing.position += count;
  return count;
}

OPJ_OFF_T skipWriting(OPJ_OFF_T count, void* user) {
  auto& writing = *static_cast<Writing*>(user);
  if (count < 0) return -1;
  writing.position += static_cast<std::size_t>(count);
  return count;
}

OPJ_BOOL seekWriting(OPJ_OFF_T position, void* user) {
  if (position < 0) return OPJ_FALSE;
  static_cast<Writing*>(user)->position = static_cast<std::size_t>(position);
  return OPJ_TRUE;
}

void note(const char* message, void* user) {
  auto& complaint = *static_cast<Complaint*>(user);
  if (!complaint.empty() || message == nullptr) return;
  complaint = message;
  while (!complaint.empty() && (complaint.back() == '\n' || complaint.back() == '.')) {
    complaint.pop_back();
  }
  if (complaint.empty()) complaint = "unknown";
}

void pass(const char*, void*) {}

}  // namespace

Stream openStream(Reading& reading) {
  Stream stream(opj_stream_create(kBufferBytes, OPJ_TRUE));
  if (stream == nullptr) return stream;
  opj_stream_set_user_data(stream.get(), &reading, nullptr);
  opj_stream_set_user_data_length(stream.get(), reading.bytes.size());
  opj_stream_set_read_function(stream.get(), read);
  opj_stream_set_skip_function(stream.get(), skipReading);
  opj_stream_set_seek_function(stream.get(), seekReading);
  return stream;
}

Stream openStream(Writing& writing) {
  Stream stream(opj_stream_create(kBufferBytes, OPJ_FALSE));
  if (stream == nullptr) return stream;
  opj_stream_set_user_data(stream.get(), &writing, nullptr);
  opj_stream_set_write_function(stream.get(), write);
  opj_stream_set_skip_function(stream.get(), skipWriting);
  opj_stream_set_seek_function(stream.get(), seekWriting);
  return stream;
}

void listen(opj_codec_t* codec, Complaint& complaint) {
  opj_set_error_handler(codec, note, &complaint);
  opj_set_warning_handler(codec, note, &complaint);
  opj_set_info_handler(codec, pass, nullptr);
}

}  // namespace kelvo::jpeg2000
