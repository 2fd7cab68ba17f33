#include "host/arguments/format_list.h"

#include <fmt/format.h>

#include <array>
#include <nlohmann/json.hpp>

namespace kelvo::host {
namespace {

constexpr std::size_t kNameWidth = 14;
constexpr std::size_t kTextWidth = 78 - kNameWidth;

// Words one after the other, broken into lines that begin under one another.
std::string wrapped(std::string_view text) {
  std::string result;
  std::size_t used = 0;
  while (!text.empty()) {
    const std::string_view word = text.substr(0, text.find(' '));
    text.remove_prefix(word.size() < text.size() ? word.size() + 1 : word.size());
    if (used > 0 && used + 1 + word.size() > kTextWidth) {
      result.append("\n").append(kNameWidth, ' ');
      used = 0;
    }
    if (used > 0) {
      result += ' ';
      ++used;
    }
    result += word;
    used += word.size();
  }
  return result;
}

std::string paragraph(const FormatDescription& format) {
  if (format.read.empty()) {
    return fmt::format("{:<{}}{}\n  {:<{}}{}\n", format.name, kNameWidth, format.type, "reads",
                       kNameWidth - 2, "nothing: recognised and left alone");
  }
  std::string kept;
  for (const std::string_view thing : format.kept) {
    kept.append(kept.empty() ? "" : "; ").append(thing);
  }
  return fmt::format("{:<{}}{}\n  {:<{}}{}\n  {:<{}}{}\n  {:<{}}{}\n", format.name, kNameWidth,
                     format.type, "reads", kNameWidth - 2, wrapped(format.read), "writes",
                     kNameWidth - 2, "the same, as the file was stored", "keeps", kNameWidth - 2,
                     wrapped(kept));
}

}  // namespace

std::span<const FormatDescription> formatDescriptions() {
  static const std::array known = {
      FormatDescription{
          "JPEG",
          "public.jpeg",
          "RGB, 8 bits; baseline and progressive, Huffman and arithmetic coding; every picture "
          "that its index lists",
          {"ICC profile",
           "Exif",
           "maker notes",
           "GPS position",
           "orientation",
           "resolution",
           "XMP",
           "extended XMP",
           "IPTC",
           "image resources",
           "comments",
           "other segments",
           "order of segments",
           "bytes after the end",
           "quantisation tables",
           "chroma sampling",
           "colour coding",
           "baseline or progressive",
           "arithmetic coding",
           "restart interval",
           "further pictures"}},
      FormatDescription{
          "PNG",
          "public.png",
          "RGB and colour tables, 1 to 16 bits, with and without alpha; interlaced ones",
          {"colour type", "colour table", "interlacing", "depth, with --depth keep", "ICC profile",
           "colour space", "Exif", "GPS position", "orientation", "XMP", "IPTC", "texts",
           "resolution", "time of change", "other chunks", "order of chunks",
           "bytes after the end"}},
      FormatDescription{"animated PNG",
                        "public.png",
                        "the same, every frame",
                        {"timing", "loop count", "frame rectangles", "disposal and blending",
                         "still picture", "colour table", "other chunks"}},
      FormatDescription{"TIFF",
                        "public.tiff",
                        "RGB and colour maps, with and without alpha; every page",
                        {"compression",
                         "predictor",
                         "strips or tiles",
                         "planar arrangement",
                         "byte order",
                         "BigTIFF",
                         "bit order",
                         "pages",
                         "alpha",
                         "colour map",
                         "depth, with --depth keep",
                         "ICC profile",
                         "Exif",
                         "GPS position",
                         "orientation",
                         "XMP",
                         "IPTC",
                         "image resources",
                         "texts",
                         "resolution",
                         "private tags",
                         "sub-directories",
                         "maker notes",
                         "other bytes"}},
      FormatDescription{
          "GIF",
          "com.compuserve.gif",
          "every frame",
          {"indices", "interlacing", "transparency", "colour tables", "timing", "loop count",
           "disposal", "frame rectangles", "comments", "XMP", "ICC profile", "other blocks",
           "background and aspect ratio", "bytes after the end"}},
      FormatDescription{
          "WebP",
          "org.webmproject.webp",
          "lossy and lossless, with and without alpha; every frame",
          {"lossy or lossless", "alpha", "quality", "filter and segments", "ICC profile", "Exif",
           "GPS position", "orientation", "XMP", "other chunks", "bytes after the end", "timing",
           "loop count", "frame rectangles", "disposal and blending", "background"}},
      FormatDescription{"BMP",
                        "com.microsoft.bmp",
                        "every version of Windows and OS/2, 1 to 32 bits",
                        {"version of the header", "depth and masks", "unnamed bits", "indices",
                         "runs", "row order", "resolution", "ICC profile", "other bytes"}},
      FormatDescription{"HEIC",
                        "public.heic",
                        "8 to 12 bits, with and without alpha; every picture, grids",
                        {"lossy or lossless", "quality", "ICC profile", "Exif", "GPS position",
                         "XMP", "alpha", "items and properties", "other boxes", "chroma sampling",
                         "depth, with --depth keep", "pictures"}},
      FormatDescription{
          "AVIF",
          "public.avif",
          "8 to 12 bits, with and without alpha; every picture, grids",
          {"lossy or lossless", "quality", "ICC profile", "Exif", "GPS position", "XMP", "alpha",
           "items and properties", "other boxes", "chroma sampling", "colour numbers",
           "depth, with --depth keep", "grid", "turns, mirrors and crops"}},
      FormatDescription{
          "JPEG XL",
          "public.jpeg-xl",
          "up to 16 bits, with and without alpha; every frame and layer; packed JPEGs",
          {"lossy or lossless", "quality", "packed JPEG", "ICC profile", "colour numbers", "Exif",
           "GPS position", "orientation", "XMP", "other boxes", "alpha", "timing", "loop count",
           "depth, with --depth keep"}},
      FormatDescription{
          "JPEG 2000",
          "public.jpeg-2000",
          "up to 16 bits, with and without alpha; colour tables; bare codestreams",
          {"lossy or lossless", "form of the codestream", "comments", "indices", "ICC profile",
           "Exif", "GPS position", "XMP", "other boxes", "alpha", "depth, with --depth keep"}},
      FormatDescription{"Photoshop", "com.adobe.photoshop-image", "", {}},
  };
  return known;
}

std::string formatListText() {
  std::string text;
  for (const FormatDescription& format : formatDescriptions()) {
    text.append(text.empty() ? "" : "\n").append(paragraph(format));
  }
  return text;
}

std::string formatListJson() {
  std::string text;
  for (const FormatDescription& format : formatDescriptions()) {
    nlohmann::ordered_json json;
    json["format"] = format.name;
    json["type"] = format.type;
    json["written"] = !format.read.empty();
    json["read"] = format.read;
    json["kept"] = format.kept;
    text.append(json.dump()).append("\n");
  }
  return text;
}

}  // namespace kelvo::host
