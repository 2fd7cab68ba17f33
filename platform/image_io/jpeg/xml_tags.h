#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

namespace kelvo::jpeg {

struct XmlAttribute {
  std::string_view name;   // with its prefix
  std::string_view value;  // as it stands, entities and all
  std::size_t begin = 0;   // of the white space before it
  std::size_t end = 0;
};

struct XmlTag {
  enum class Kind { start, end, empty };
  Kind kind = Kind::start;
  std::string_view name;  // with its prefix
  std::vector<XmlAttribute> attributes;
  std::size_t begin = 0;
  std::size_t end = 0;
};

// The tags of an XML text one after the other, with where they stand in it, for changes that leave
// every other byte alone. Text, comments and instructions are passed over. A document type, whose
// entities could stand for tags, counts as malformed.
class XmlTags {
 public:
  explicit XmlTags(std::string_view text) : text_(text) {}

  // Absent at the end, and from the first malformed place on.
  std::optional<XmlTag> next();
  [[nodiscard]] bool malformed() const { return malformed_; }

 private:
  std::optional<XmlTag> fail();
  bool skipTo(std::string_view end);
  void skipSpace();
  std::string_view name();
  bool attribute(XmlTag& tag, std::size_t begin);

  std::string_view text_;
  std::size_t at_ = 0;
  bool malformed_ = false;
};

}  // namespace kelvo::jpeg
