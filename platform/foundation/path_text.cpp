#include "platform/foundation/path_text.h"

namespace kelvo {
namespace {

std::string_view withoutLastSlashes(std::string_view path) {
  while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
  return path;
}

// Where the dot of the last component's extension stands; npos if it has none.
std::size_t extensionDot(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  const std::size_t name = slash == std::string_view::npos ? 0 : slash + 1;
  const std::size_t dot = path.rfind('.');
  const bool has = dot != std::string_view::npos && dot > name && dot + 1 < path.size();
  return has ? dot : std::string_view::npos;
}

}  // namespace

std::string stringByDeletingLastPathComponent(std::string_view path) {
  path = withoutLastSlashes(path);
  const std::size_t slash = path.rfind('/');
  if (slash == std::string_view::npos) return {};
  return std::string(withoutLastSlashes(path.substr(0, slash + 1)));
}

std::string stringByAppendingPathComponent(std::string_view path, std::string_view component) {
  path = withoutLastSlashes(path);
  std::string joined(path);
  if (!path.empty() && path.back() != '/') joined += '/';
  return joined.append(withoutLastSlashes(component));
}

std::string pathExtension(std::string_view path) {
  path = withoutLastSlashes(path);
  const std::size_t dot = extensionDot(path);
  return dot == std::string_view::npos ? std::string() : std::string(path.substr(dot + 1));
}

std::string stringByDeletingPathExtension(std::string_view path) {
  path = withoutLastSlashes(path);
  return std::string(path.substr(0, extensionDot(path)));
}

std::string stringByAppendingPathExtension(std::string_view path, std::string_view extension) {
  std::string whole(withoutLastSlashes(path));
  if (!extension.empty()) whole.append(".").append(extension);
  return whole;
}

}  // namespace kelvo
