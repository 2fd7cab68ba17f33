#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

// What the command `formats` tells. tests/conformance holds it to what is found in rewritten files.
namespace kelvo::host {

// A format as people know it; formats that share a type are ways of using one file format.
struct FormatDescription {
  std::string_view name;
  std::string_view type;  // of its codec
  std::string_view read;  // which of its files; empty if they are recognised and left alone
  std::vector<std::string_view> kept;
};

std::span<const FormatDescription> formatDescriptions();

// A paragraph a format.
std::string formatListText();
// One JSON record a format and line: format, type, written, read, kept.
std::string formatListJson();

}  // namespace kelvo::host
