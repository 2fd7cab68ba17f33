#include "platform/image_io/jpeg/xml_tags.h"

#include <algorithm>
#include <utility>

namespace kelvo::jpeg {
namespace {

constexpr std::string_view kSpace = " \t\r\n";

}  // namespace

std::optional<XmlTag> XmlTags::fail() {
  malformed_ = true;
  at_ = text_.size();
  return std::nullopt;
}

// Just after the next `end`.
bool XmlTags::skipTo(std::string_view end) {
  const std::size_t found = text_.find(end, at_);
  if (found == std::string_view::npos) return false;
  at_ = found + end.size();
  return true;
}

void XmlTags::skipSpace() { at_ = std::min(text_.find_first_not_of(kSpace, at_), text_.size()); }

std::string_view XmlTags::name() {
  const std::size_t end = std::min(text_.find_first_of(" \t\r\n=/><\"'", at_), text_.size());
  return text_.substr(std::exchange(at_, end), end - at_);
}

bool XmlTags::attribute(XmlTag& tag, std::size_t begin) {
  XmlAttribute attribute;
  attribute.begin = begin;
  attribute.name = name();
  skipSpace();
  if (attribute.name.empty() || at_ >= text_.size() || text_[at_] != '=') return false;
  ++at_;
  skipSpace();
  if (at_ >= text_.size() || (text_[at_] != '"' && text_[at_] != '\'')) return false;
  const std::size_t value = at_ + 1;
  const std::size_t end = text_.find(text_[at_], value);
  if (end == std::string_view::npos) return false;
  attribute.value = text_.substr(value, end - value);
  at_ = attribute.end = end + 1;
  tag.attributes.push_back(attribute);
  return true;
}

std::optional<XmlTag> XmlTags::next() {
  for (;;) {
    at_ = std::min(text_.find('<', at_), text_.size());
    if (at_ == text_.size()) return std::nullopt;
    const std::string_view rest = text_.substr(at_);
    if (rest.starts_with("<?")) {
      if (!skipTo("?>")) return fail();
    } else if (rest.starts_with("<!--")) {
      at_ += 4;
      if (!skipTo("-->")) return fail();
    } else if (rest.starts_with("<![CDATA[")) {
      if (!skipTo("]]>")) return fail();
    } else {
      break;
    }
  }
  XmlTag tag;
  tag.begin = at_++;
  if (at_ < text_.size() && text_[at_] == '/') {
    tag.kind = XmlTag::Kind::end;
    ++at_;
  }
  tag.name = name();
  if (tag.name.empty() || tag.name.front() == '!') return fail();
  for (;;) {
    const std::size_t space = at_;
    skipSpace();
    if (at_ >= text_.size()) return fail();
    if (text_[at_] == '>') break;
    if (text_.substr(at_).starts_with("/>") && tag.kind == XmlTag::Kind::start) {
      tag.kind = XmlTag::Kind::empty;
      ++at_;
      break;
    }
    if (at_ == space || tag.kind == XmlTag::Kind::end || !attribute(tag, space)) return fail();
  }
  tag.end = ++at_;
  return tag;
}

}  // namespace kelvo::jpeg
