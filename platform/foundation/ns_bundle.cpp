#include "platform/foundation/ns_bundle.h"

#include <dlfcn.h>

#include <cstring>
#include <filesystem>
#include <map>
#include <system_error>
#include <utility>

#include "platform/foundation/file_text.h"
#include "platform/foundation/json_text.h"

namespace kelvo {
namespace {

// A name that stays inside the directory it is looked up in.
bool isPlainName(const std::string& name) {
  return !name.empty() && name != "." && name != ".." &&
         name.find_first_of(std::string_view("/\0", 2)) == std::string::npos;
}

Result<std::string> textMember(const nlohmann::json& object, const char* key) {
  const auto found = object.find(key);
  if (found == object.end()) {
    return Error{"Info.json has no \"" + std::string(key) + "\""};
  }
  if (!found->is_string()) {
    return Error{"\"" + std::string(key) + "\" in Info.json is " + std::string(jsonKind(*found)) +
                 ", not a text"};
  }
  return found->get<std::string>();
}

Result<BundleInfo> parseInfo(const std::string& text) {
  const auto json = parseJson(text);
  if (!json) {
    return Error{"Info.json, " + json.error().message};
  }
  if (!json->is_object()) {
    return Error{"Info.json is " + std::string(jsonKind(*json)) + ", not an object"};
  }
  BundleInfo info;
  const std::pair<const char*, std::string*> members[] = {{"name", &info.name},
                                                          {"version", &info.version},
                                                          {"executable", &info.executable},
                                                          {"principalClass", &info.principalClass}};
  for (const auto& [key, value] : members) {
    auto member = textMember(*json, key);
    if (!member) {
      return member.error();
    }
    *value = std::move(member).value();
  }
  if (!isPlainName(info.executable)) {
    return Error{"\"executable\" in Info.json is not a plain file name"};
  }
  const auto defaults = json->find("defaultParameters");
  if (defaults != json->end()) {
    auto parameters = parametersFromJson(*defaults);
    if (!parameters) {
      return Error{"\"defaultParameters\" in Info.json: " + parameters.error().message};
    }
    info.defaultParameters = std::move(parameters).value();
  }
  const auto confined = json->find("confined");
  if (confined != json->end()) {
    if (!confined->is_boolean()) {
      return Error{"\"confined\" in Info.json is " + std::string(jsonKind(*confined)) +
                   ", not true or false"};
    }
    info.confined = confined->get<bool>();
  }
  return info;
}

}  // namespace

NSBundle::NSBundle(std::string path, BundleInfo info)
    : path_(std::move(path)), info_(std::move(info)) {}

NSBundle::~NSBundle() {
  if (module_ != nullptr) {
    ::dlclose(module_);
  }
}

Result<std::shared_ptr<NSBundle>> NSBundle::bundleWithPath(std::string path) {
  static std::mutex mutex;
  static std::map<std::string, std::weak_ptr<NSBundle>> held;
  const std::scoped_lock lock(mutex);
  if (const auto known = held.find(path); known != held.end()) {
    if (auto bundle = known->second.lock()) return bundle;
  }
  const auto text = readTextFile(path + "/Contents/Info.json");
  if (!text) {
    return Error{"Info.json cannot be read: " + text.error().message};
  }
  auto info = parseInfo(*text);
  if (!info) {
    return info.error();
  }
  struct Access : NSBundle {
    Access(std::string where, BundleInfo what) : NSBundle(std::move(where), std::move(what)) {}
  };
  std::shared_ptr<NSBundle> bundle = std::make_shared<Access>(path, std::move(info).value());
  held.insert_or_assign(std::move(path), bundle);
  return bundle;
}

std::string NSBundle::executablePath() const {
  return path_ + "/Contents/Linux/" + info_.executable + ".so";
}

std::string NSBundle::resourcePath() const { return path_ + "/Contents/Resources"; }

std::optional<std::string> NSBundle::pathForResource(const std::string& name) const {
  std::string path = resourcePath() + "/" + name;
  std::error_code failed;
  if (!isPlainName(name) || !std::filesystem::exists(path, failed)) {
    return std::nullopt;
  }
  return path;
}

std::optional<std::string> NSBundle::pathForImageResource(const std::string& name) const {
  for (const char* extension : {"", ".png", ".tif", ".tiff", ".jpg", ".jpeg"}) {
    if (auto path = pathForResource(name + extension)) {
      return path;
    }
  }
  return std::nullopt;
}

Result<void> NSBundle::load() {
  const std::scoped_lock lock(loading_);
  if (module_ == nullptr) {
    module_ = ::dlopen(executablePath().c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  }
  if (module_ == nullptr) {
    const char* reason = ::dlerror();
    return Error{reason != nullptr ? reason : "its module cannot be loaded"};
  }
  return {};
}

void* NSBundle::symbol(const char* name) const {
  return module_ != nullptr ? ::dlsym(module_, name) : nullptr;
}

std::string bundlePathForCode(const void* code) {
  Dl_info found{};
  if (::dladdr(code, &found) == 0 || found.dli_fname == nullptr) {
    return {};
  }
  std::error_code failed;
  // The program itself may have been started by a relative name, from elsewhere.
  const std::filesystem::path module =
      std::filesystem::absolute(std::strchr(found.dli_fname, '/') != nullptr
                                    ? std::filesystem::path(found.dli_fname)
                                    : std::filesystem::read_symlink("/proc/self/exe", failed),
                                failed);
  const std::filesystem::path directory = module.parent_path();
  if (directory.filename() == "Linux" && directory.parent_path().filename() == "Contents") {
    return directory.parent_path().parent_path().string();
  }
  return directory.string();
}

std::optional<std::string> findBundle(const std::vector<std::string>& directories,
                                      const std::string& name) {
  if (!isPlainName(name)) {
    return std::nullopt;
  }
  for (const std::string& directory : directories) {
    std::string path = directory + "/" + name + ".action";
    std::error_code failed;
    if (std::filesystem::is_directory(path, failed)) {
      return path;
    }
  }
  return std::nullopt;
}

}  // namespace kelvo
