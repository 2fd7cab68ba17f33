#include "platform/image_io/jpeg/xmp_gain_map.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>
#include <vector>

#include "platform/image_io/jpeg/xml_tags.h"

namespace kelvo::jpeg {
namespace {

constexpr std::string_view kMapNamespace = "http://ns.adobe.com/hdr-gain-map/1.0/";
constexpr std::string_view kPhoneMapNamespace = "http://ns.apple.com/HDRGainMap/1.0/";
constexpr std::string_view kContainerNamespace = "http://ns.google.com/photos/1.0/container/";
constexpr std::string_view kRdfNamespace = "http://www.w3.org/1999/02/22-rdf-syntax-ns#";
// The value of a property that names the kind of a picture.
constexpr std::string_view kPhoneMapKind = ":aux:hdrgainmap";
constexpr std::string_view kItemName = "GainMap";

// What a packet that says something of a gain map contains, however it says it.
bool maySpeakOfGainMap(std::string_view packet) {
  const auto has = [&](std::string_view text) {
    return packet.find(text) != std::string_view::npos;
  };
  return has("hdrgm:") || has(kMapNamespace) || has(kPhoneMapNamespace) || has(kPhoneMapKind) ||
         (has(kContainerNamespace) && has(kItemName));
}

struct Range {
  std::size_t begin;
  std::size_t end;
};

class Search {
 public:
  explicit Search(std::string_view packet) : packet_(packet) {}

  // False if the packet is not well formed.
  bool run() {
    XmlTags tags(packet_);
    while (const auto tag = tags.next()) {
      if (tag->kind == XmlTag::Kind::end) {
        if (open_.empty() || open_.back().name != tag->name) return false;
        close(tag->begin, tag->end);
      } else {
        open(*tag);
        if (tag->kind == XmlTag::Kind::empty) close(tag->end, tag->end);
      }
    }
    return !tags.malformed() && open_.empty() && !misplaced_;
  }

  [[nodiscard]] bool parameters() const { return parameters_; }

  [[nodiscard]] std::optional<std::string> rest() {
    if (removed_.empty()) return std::nullopt;
    std::ranges::sort(removed_, {}, &Range::begin);
    std::string kept;
    std::size_t at = 0;
    for (const Range& range : removed_) {
      if (range.end <= at) continue;
      if (range.begin > at) kept += packet_.substr(at, range.begin - at);
      at = range.end;
    }
    kept += packet_.substr(at);
    return kept;
  }

 private:
  struct Element {
    std::string_view name;
    std::size_t begin;       // of its start tag
    std::size_t contents;    // just after its start tag
    std::size_t namespaces;  // how many were declared outside it
    bool item = false;       // of a list
    bool removed = false;
    bool semantic = false;  // its text says what kind of picture an item is
  };

  // The prefix "hdrgm" stands for its namespace even where it was not declared.
  [[nodiscard]] std::string_view namespaceOf(std::string_view name) const {
    const std::size_t colon = name.find(':');
    const std::string_view prefix =
        colon == std::string_view::npos ? std::string_view() : name.substr(0, colon);
    const auto known = std::find_if(namespaces_.rbegin(), namespaces_.rend(),
                                    [&](const auto& one) { return one.first == prefix; });
    if (known != namespaces_.rend()) return known->second;
    return prefix == "hdrgm" ? kMapNamespace : std::string_view();
  }

  static std::string_view localName(std::string_view name) {
    const std::size_t colon = name.find(':');
    return colon == std::string_view::npos ? name : name.substr(colon + 1);
  }

  static bool isMapNamespace(std::string_view uri) {
    return uri == kMapNamespace || uri == kPhoneMapNamespace;
  }

  static bool isSemantic(std::string_view uri, std::string_view local) {
    return uri.starts_with(kContainerNamespace) && local == "Semantic";
  }

  void noteProperty(std::string_view local) { parameters_ = parameters_ || local != "Version"; }

  void open(const XmlTag& tag) {
    const std::size_t outer = namespaces_.size();
    for (const XmlAttribute& attribute : tag.attributes) {
      if (attribute.name == "xmlns") namespaces_.emplace_back("", attribute.value);
      if (attribute.name.starts_with("xmlns:")) {
        namespaces_.emplace_back(attribute.name.substr(6), attribute.value);
      }
    }
    const std::string_view uri = namespaceOf(tag.name);
    const std::string_view local = localName(tag.name);
    open_.push_back({.name = tag.name,
                     .begin = tag.begin,
                     .contents = tag.end,
                     .namespaces = outer,
                     .item = uri == kRdfNamespace && local == "li",
                     .removed = isMapNamespace(uri),
                     .semantic = isSemantic(uri, local)});
    if (isMapNamespace(uri)) noteProperty(local);
    for (const XmlAttribute& attribute : tag.attributes) readAttribute(attribute);
  }

  void readAttribute(const XmlAttribute& attribute) {
    if (attribute.name == "xmlns" || attribute.name.starts_with("xmlns:")) {
      if (isMapNamespace(attribute.value)) removed_.push_back({attribute.begin, attribute.end});
      return;
    }
    // An attribute without a prefix has no namespace.
    const bool prefixed = attribute.name.find(':') != std::string_view::npos;
    const std::string_view uri = prefixed ? namespaceOf(attribute.name) : std::string_view();
    const std::string_view local = localName(attribute.name);
    if (isMapNamespace(uri)) {
      noteProperty(local);
      removed_.push_back({attribute.begin, attribute.end});
    } else if (attribute.value.ends_with(kPhoneMapKind)) {
      parameters_ = true;
      removed_.push_back({attribute.begin, attribute.end});
    } else if (isSemantic(uri, local) && attribute.value == kItemName) {
      removeItem();
    }
  }

  // The innermost item of a list is the one that describes a gain map.
  void removeItem() {
    const auto item =
        std::find_if(open_.rbegin(), open_.rend(), [](const Element& e) { return e.item; });
    if (item == open_.rend()) {
      misplaced_ = true;
    } else {
      item->removed = true;
    }
  }

  void close(std::size_t textEnd, std::size_t end) {
    const std::string_view text =
        packet_.substr(open_.back().contents, textEnd - open_.back().contents);
    if (open_.back().semantic && text == kItemName) removeItem();
    if (text.ends_with(kPhoneMapKind) && text.find('<') == std::string_view::npos) {
      parameters_ = true;
      open_.back().removed = true;
    }
    const Element& element = open_.back();
    // Goes with the line break and the indentation before it.
    if (element.removed) {
      const std::size_t before = packet_.find_last_not_of(" \t\r\n", element.begin - 1);
      const bool alone =
          element.begin > 0 && before != std::string_view::npos && packet_[before] == '>';
      removed_.push_back({alone ? before + 1 : element.begin, end});
    }
    namespaces_.resize(element.namespaces);
    open_.pop_back();
  }

  std::string_view packet_;
  std::vector<Element> open_;
  std::vector<std::pair<std::string_view, std::string_view>> namespaces_;  // prefix, URI
  std::vector<Range> removed_;
  bool parameters_ = false;
  bool misplaced_ = false;  // an item that is in no list
};

}  // namespace

XmpGainMap findGainMap(std::string_view packet) {
  XmpGainMap result;
  if (!maySpeakOfGainMap(packet)) return result;
  Search search(packet);
  const bool readable = search.run();
  result.parameters = search.parameters();
  if (readable) result.without = search.rest();
  result.present = !readable || result.without.has_value();
  return result;
}

}  // namespace kelvo::jpeg
