#include "platform/image_io/jpeg/libjpeg_guard.h"

#include <jerror.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace kelvo::jpeg {
namespace {

// Warnings after which every pixel is still what the file says. Every other one counts as damage.
constexpr std::array kHarmlessWarnings = {
    // A JFIF segment of an unknown version: its layout is the same, and it is carried over as it
    // is.
    static_cast<int>(JWRN_JFIF_MAJOR),
    // An unknown colour transform number: three components are taken for YCbCr, four for YCCK, as
    // every reader does, and the segment is carried over as it is.
    static_cast<int>(JWRN_ADOBE_XFORM),
};

[[noreturn]] void giveUp(j_common_ptr info) {
  auto* const errors = reinterpret_cast<ErrorManager*>(info->err);
  info->err->format_message(info, errors->message);
  std::longjmp(errors->target, 1);
}

void onMessage(j_common_ptr info, int level) {
  if (level >= 0) return;  // a trace
  const auto& harmless = kHarmlessWarnings;
  if (std::find(harmless.begin(), harmless.end(), info->err->msg_code) != harmless.end()) return;
  giveUp(info);
}

void ignoreOutput(j_common_ptr) {}

}  // namespace

ErrorManager::ErrorManager() {
  jpeg_std_error(&base);
  base.error_exit = &giveUp;
  base.emit_message = &onMessage;
  base.output_message = &ignoreOutput;
}

Error libraryError(const ErrorManager& errors, const std::string& step) {
  std::string_view text = errors.message;
  for (const std::string_view prefix : {"Corrupt JPEG data: ", "Warning: "}) {
    if (text.starts_with(prefix)) text.remove_prefix(prefix.size());
  }
  std::string clause(text);
  // "Premature end of JPEG file" in the middle of a clause; "DCT" stays.
  if (clause.size() > 1 && clause[1] >= 'a' && clause[1] <= 'z' && clause[0] >= 'A' &&
      clause[0] <= 'Z') {
    clause[0] = static_cast<char>(clause[0] - 'A' + 'a');
  }
  return Error{step + ": " + clause};
}

}  // namespace kelvo::jpeg
