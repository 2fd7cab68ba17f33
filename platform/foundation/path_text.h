#pragma once

#include <string>
#include <string_view>

// Paths as texts: nothing is looked up, and a slash at a path's end does not count.
namespace kelvo {

// "/a/b" gives "/a", "/a" gives "/", "a" gives "".
std::string stringByDeletingLastPathComponent(std::string_view path);
// One slash between the two.
std::string stringByAppendingPathComponent(std::string_view path, std::string_view component);

// "gif" of "/a/b.gif"; empty if the last component has none. A name that begins with its only dot
// has no extension, nor has one that ends with a dot.
std::string pathExtension(std::string_view path);
// "/a/b.gif" gives "/a/b"; a path without an extension stays.
std::string stringByDeletingPathExtension(std::string_view path);
// "/a/b" and "gif" give "/a/b.gif"; an empty extension adds nothing.
std::string stringByAppendingPathExtension(std::string_view path, std::string_view extension);

}  // namespace kelvo
