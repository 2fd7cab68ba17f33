#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/parameter_value.h"
#include "platform/foundation/result.h"

namespace kelvo {

// What a bundle says about itself in Contents/Info.json.
struct BundleInfo {
  std::string name;
  std::string version;
  std::string executable;                 // Contents/Linux/<executable>.so
  std::string principalClass;             // the class that the module's factory makes
  ParameterDictionary defaultParameters;  // "defaultParameters"; may be absent
  bool confined = true;  // false: the action needs the network, processes or other directories
};

// A loadable bundle, an action or a framework: a directory NAME.action or NAME.framework with
// Contents/Info.json, Contents/Linux/ and Contents/Resources/.
class NSBundle {
 public:
  // Reads Info.json, or gives the bundle that somebody holds who has read it; loads no code.
  // Errors: no such bundle, an Info.json that says too little. Thread-safe.
  static Result<std::shared_ptr<NSBundle>> bundleWithPath(std::string path);

  ~NSBundle();
  NSBundle(const NSBundle&) = delete;
  NSBundle& operator=(const NSBundle&) = delete;

  [[nodiscard]] const std::string& bundlePath() const { return path_; }
  [[nodiscard]] const BundleInfo& info() const { return info_; }
  [[nodiscard]] std::string executablePath() const;
  [[nodiscard]] std::string resourcePath() const;
  // Absent if there is no such resource.
  [[nodiscard]] std::optional<std::string> pathForResource(const std::string& name) const;
  // The same of a picture, whose extension may be left out.
  [[nodiscard]] std::optional<std::string> pathForImageResource(const std::string& name) const;

  // Loads the module, its symbols visible to itself alone. Once loaded, the code stays for the rest
  // of the process, since what it registered (filters, observers) may still be called. Thread-safe.
  Result<void> load();
  // The address of something the loaded module exports; null if it does not, or is not loaded.
  [[nodiscard]] void* symbol(const char* name) const;

 private:
  NSBundle(std::string path, BundleInfo info);

  std::string path_;
  BundleInfo info_;
  std::mutex loading_;
  void* module_ = nullptr;
};

// The path of the bundle whose module holds this code; of code that belongs to no bundle the
// directory of the program or library that holds it. `code`: the address of a function or of data.
std::string bundlePathForCode(const void* code);

// The first directory NAME.action in these directories, in their order. Absent if none has one.
std::optional<std::string> findBundle(const std::vector<std::string>& directories,
                                      const std::string& name);

}  // namespace kelvo
