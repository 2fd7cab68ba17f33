#include "platform/image_io/codec_module.h"

#include <dlfcn.h>

#include <filesystem>
#include <map>
#include <mutex>
#include <string>

namespace kelvo {
namespace {

Result<std::string> moduleDirectory() {
  Dl_info own = {};
  if (::dladdr(reinterpret_cast<void*>(&loadCodecModule), &own) == 0 || own.dli_fname == nullptr) {
    return Error{"the folder of the format modules is not known"};
  }
  return (std::filesystem::path(own.dli_fname).parent_path() / "kelvo").string();
}

Result<const CodecModule*> load(const std::string& name) {
  const auto directory = moduleDirectory();
  if (!directory) return directory.error();
  void* const library =
      ::dlopen((*directory + "/" + name + ".so").c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  if (library == nullptr) {
    return Error{"the module for its format cannot be loaded: " + std::string(::dlerror())};
  }
  auto* const function =
      reinterpret_cast<CodecModuleFunction*>(::dlsym(library, kCodecModuleSymbol));
  if (function == nullptr) return Error{"the module " + name + " is not a format module"};
  return function();
}

}  // namespace

Result<const CodecModule*> loadCodecModule(const char* name) {
  static std::mutex mutex;
  static std::map<std::string, const CodecModule*> loaded;
  const std::scoped_lock lock(mutex);
  if (const auto known = loaded.find(name); known != loaded.end()) return known->second;
  auto module = load(name);
  if (module) loaded.emplace(name, *module);
  return module;
}

}  // namespace kelvo
