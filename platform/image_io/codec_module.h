#pragma once

#include <utility>

#include "platform/image_io/codec.h"

namespace kelvo {

// What a format's module provides. Formats that need libraries of their own live in
// modules beside this library, so that programs start without them.
struct CodecModule {
  Result<std::unique_ptr<CodecSource>> (*open)(FileBytes file, const Limits& limits);
  Result<std::unique_ptr<CodecWriter>> (*createWriter)(OutputFile& file, std::size_t frames,
                                                       const EncodeOptions& options);
};

// The one function that a module exports, by this name.
constexpr const char* kCodecModuleSymbol = "kelvoCodecModule";
using CodecModuleFunction = const CodecModule*();

// Loads "NAME.so" from the folder "kelvo" beside this library; once loaded it stays. Thread-safe.
Result<const CodecModule*> loadCodecModule(const char* name);

// A Codec's `open` and `createWriter`, by the module of this name.
template <const char* kModule>
Result<std::unique_ptr<CodecSource>> openByModule(FileBytes file, const Limits& limits) {
  const auto module = loadCodecModule(kModule);
  if (!module) return module.error();
  return (*module)->open(std::move(file), limits);
}
template <const char* kModule>
Result<std::unique_ptr<CodecWriter>> createWriterByModule(OutputFile& file, std::size_t frames,
                                                          const EncodeOptions& options) {
  const auto module = loadCodecModule(kModule);
  if (!module) return module.error();
  return (*module)->createWriter(file, frames, options);
}

}  // namespace kelvo
