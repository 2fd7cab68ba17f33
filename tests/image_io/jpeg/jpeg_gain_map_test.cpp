// Files with a gain map: refused, or adjusted without it and without a trace of it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "platform/image_io/jpeg/xmp_gain_map.h"
#include "tests/image_io/jpeg/jpeg_test_support.h"
#include "tests/image_io/jpeg/multi_picture_file.h"
#include "tests/image_io/replace/support.h"

namespace kelvo::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr std::uint32_t kUndefined = 0x00000000;
constexpr std::uint32_t kGainMapKind = 0x00050000;

const std::string kXmpHead("http://ns.adobe.com/xap/1.0/\0", 29);
const std::string kIsoHead("urn:iso:std:iso:ts:21496:-1\0", 28);

// As phones write it for the picture itself. What is between [[ and ]] is about the gain map.
constexpr const char* kPictureXmp = R"(<?xpacket begin="" id="W5M0MpCehiHzreSzNTczkc9d"?>
<x:xmpmeta xmlns:x="adobe:ns:meta/" x:xmptk="Adobe XMP Core 5.1.2">
  <rdf:RDF xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#">
    <rdf:Description rdf:about=""
        xmlns:Container="http://ns.google.com/photos/1.0/container/"
        xmlns:Item="http://ns.google.com/photos/1.0/container/item/"[[
        xmlns:hdrgm="http://ns.adobe.com/hdr-gain-map/1.0/"]]
        xmlns:xmp="http://ns.adobe.com/xap/1.0/"[[
        hdrgm:Version="1.0"]]
        xmp:Rating="4">
      <!-- <no tag> -->
      <Container:Directory>
        <rdf:Seq>
          <rdf:li rdf:parseType="Resource">
            <Container:Item Item:Semantic="Primary" Item:Mime="image/jpeg"/>
          </rdf:li>[[
          <rdf:li rdf:parseType="Resource">
            <Container:Item Item:Semantic="GainMap" Item:Mime="image/jpeg" Item:Length="1234"/>
          </rdf:li>]]
          <rdf:li rdf:parseType="Resource">
            <Container:Item Item:Semantic="MotionPhoto" Item:Mime="video/mp4" Item:Length="99"/>
          </rdf:li>
        </rdf:Seq>
      </Container:Directory>
    </rdf:Description>
  </rdf:RDF>
</x:xmpmeta>
<?xpacket end="w"?>)";

constexpr const char* kMapXmp =
    R"(<x:xmpmeta xmlns:x="adobe:ns:meta/"><rdf:RDF xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#"><rdf:Description rdf:about="" xmlns:hdrgm="http://ns.adobe.com/hdr-gain-map/1.0/" hdrgm:Version="1.0" hdrgm:GainMapMax="2.3" hdrgm:HDRCapacityMax="2.3"/></rdf:RDF></x:xmpmeta>)";

constexpr const char* kPhoneMapXmp =
    R"(<x:xmpmeta xmlns:x="adobe:ns:meta/"><rdf:RDF xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#"><rdf:Description rdf:about="" xmlns:apdi="http://ns.apple.com/pixeldatainfo/1.0/" xmlns:HDRGainMap="http://ns.apple.com/HDRGainMap/1.0/"><apdi:AuxiliaryImageType>urn:com:apple:photo:2020:aux:hdrgainmap</apdi:AuxiliaryImageType><HDRGainMap:HDRGainMapVersion>65536</HDRGainMap:HDRGainMapVersion></rdf:Description></rdf:RDF></x:xmpmeta>)";

// Without the marks, with or without what is between them.
std::string marked(std::string text, bool with) {
  for (std::size_t begin = 0; (begin = text.find("[[")) != std::string::npos;) {
    const std::size_t end = text.find("]]");
    text = text.substr(0, begin) + (with ? text.substr(begin + 2, end - begin - 2) : "") +
           text.substr(end + 2);
  }
  return text;
}

std::string without(const std::string& packet) {
  const auto found = jpeg::findGainMap(packet);
  EXPECT_TRUE(found.present) << packet;
  EXPECT_TRUE(found.without.has_value()) << packet;
  return found.without.value_or("");
}

TEST(XmpGainMap, EverythingAboutItGoesAndEveryOtherByteStays) {
  EXPECT_EQ(without(marked(kPictureXmp, true)), marked(kPictureXmp, false));
}

TEST(XmpGainMap, ThePropertiesMayBeElementsAndHaveAnotherPrefix) {
  const std::string head =
      "<rdf:RDF xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'><rdf:Description";
  const std::string map = "http://ns.adobe.com/hdr-gain-map/1.0/";
  EXPECT_EQ(without(head + " xmlns:g='" + map +
                    "' a='>'><x:y>1 &lt; 2</x:y>\n  <g:Gamma><rdf:Seq><rdf:li>1</rdf:li></rdf:Seq>"
                    "</g:Gamma>\n  <g:Version>1</g:Version>\n</rdf:Description></rdf:RDF>")
                .find("Gamma"),
            std::string::npos);
  EXPECT_EQ(without(head + " xmlns:g = \"" + map + "\" g:Version='1.0' k='v'/></rdf:RDF>"),
            head + " k='v'/></rdf:RDF>");
  // In a directory whose items are elements.
  const std::string item = "http://ns.google.com/photos/1.0/container/item/";
  EXPECT_EQ(without(head + " xmlns:I='" + item +
                    "'><rdf:Seq><rdf:li><I:Semantic>GainMap</I:Semantic></rdf:li>"
                    "<rdf:li><I:Semantic>Primary</I:Semantic></rdf:li></rdf:Seq>"
                    "</rdf:Description></rdf:RDF>"),
            head + " xmlns:I='" + item +
                "'><rdf:Seq><rdf:li><I:Semantic>Primary</I:Semantic></rdf:li></rdf:Seq>"
                "</rdf:Description></rdf:RDF>");
}

TEST(XmpGainMap, WordsThatOnlyLookLikeItAreNoSign) {
  for (const char* packet : {
           "<a><dc:title>hdrgm: what it means</dc:title></a>",
           "<a note='a hdrgm:Version of mine'/>",
           "<!-- hdrgm:Version=\"1.0\" --><a/>",
           "<a xmlns:I='http://ns.google.com/photos/1.0/container/item/'><b>GainMap</b></a>",
           "<a xmlns:hdrgm='http://example.org/' hdrgm:Version='1'/>",
       }) {
    const auto found = jpeg::findGainMap(packet);
    EXPECT_FALSE(found.present) << packet;
    EXPECT_FALSE(found.without) << packet;
  }
}

TEST(XmpGainMap, ThePacketOfTheMapItselfIsTold) {
  EXPECT_FALSE(jpeg::findGainMap(marked(kPictureXmp, true)).parameters);
  EXPECT_TRUE(jpeg::findGainMap(kMapXmp).parameters);
  EXPECT_TRUE(jpeg::findGainMap(kPhoneMapXmp).parameters);
}

TEST(XmpGainMap, WhatCannotBeReadCountsAsOne) {
  const std::string whole = marked(kPictureXmp, true);
  for (const std::string& packet :
       {whole.substr(0, whole.find("</rdf:RDF>")), "<a hdrgm:Version=1.0/>" + whole, "</b>" + whole,
        "<!DOCTYPE a>" + whole, "<a" + whole, "<![CDATA[" + whole, "<a b='" + whole,
        std::string("<a xmlns:I='http://ns.google.com/photos/1.0/container/item/' "
                    "I:Semantic='GainMap'/>")}) {
    const auto found = jpeg::findGainMap(packet);
    EXPECT_TRUE(found.present) << packet;
    EXPECT_FALSE(found.without) << packet;
  }
}

// The sanitizers watch what it touches.
TEST(XmpGainMap, DamagedPacketsAreReadWithoutHarm) {
  const std::string whole = marked(kPictureXmp, true);
  std::mt19937 random(11);
  for (int i = 0; i < 2000; ++i) {
    std::string packet = whole;
    for (int k = 0; k <= i % 4; ++k) packet[random() % packet.size()] = "<>/=\"' :a"[random() % 9];
    if (i % 2 != 0) packet.resize(random() % packet.size());
    const auto found = jpeg::findGainMap(packet);
    if (found.without) {
      EXPECT_TRUE(found.present);
      EXPECT_LT(found.without->size(), packet.size());
      EXPECT_FALSE(jpeg::findGainMap(*found.without).without) << packet;
    }
  }
}

class JpegGainMap : public ::testing::Test {
 protected:
  void SetUp() override {
    plain_ = picture(96, 64, "-quality 90 -sample 2x2");
    preview_ = withSegment(picture(48, 32, "-quality 75"), 0xFE, "a comment of the preview");
    bareMap_ = picture(24, 16, "-grayscale");
    base_ = withSegment(plain_, 0xFE, "a comment");
    base_ = withSegment(base_, 0xE2, kIsoHead + std::string(4, '\0'));
    base_ = withSegment(base_, 0xE1, kXmpHead + marked(kPictureXmp, true));
    map_ = withSegment(bareMap_, 0xE1, kXmpHead + kMapXmp);
  }

  std::string picture(std::uint32_t width, std::uint32_t height, const std::string& options) {
    writeGradient(directory_.path("p.ppm"), width, height);
    run("cjpeg " + options + " -outfile " + directory_.path("p.jpg") + " " +
        directory_.path("p.ppm"));
    return readFile(directory_.path("p.jpg"));
  }

  // The bytes of a file with these ones after adjusting it without its gain map.
  std::string adjusted(const std::string& contents, bool drop = true) {
    writeFile(file_, contents);
    const auto result = rewrite(file_, Adjustment::invert, {.encode = {.dropGainMap = drop}});
    EXPECT_TRUE(result) << (result ? "" : result.error().message);
    return readFile(file_);
  }

  // Refused, with the file as it was.
  std::string refusal(const std::string& contents, bool drop) {
    writeFile(file_, contents);
    const auto result = rewrite(file_, Adjustment::invert, {.encode = {.dropGainMap = drop}});
    EXPECT_EQ(readFile(file_), contents);
    return result ? "rewritten" : result.error().message;
  }

  TemporaryDirectory directory_;
  std::string file_ = directory_.path("photo.jpg");
  std::string plain_;    // the picture alone
  std::string base_;     // the same as it stands in a file with a gain map
  std::string map_;      // with its parameters
  std::string bareMap_;  // without
  std::string preview_;
};

TEST_F(JpegGainMap, WhatIsLeftIsTheAdjustedPictureAsIfThereHadNeverBeenOne) {
  std::string expected = withSegment(plain_, 0xFE, "a comment");
  expected = withSegment(expected, 0xE1, kXmpHead + marked(kPictureXmp, false));
  expected = adjusted(expected, false);
  for (const bool little : {true, false}) {
    const std::string after =
        adjusted(multiPicture({{base_, kPrimary}, {map_, kUndefined}}, little));
    EXPECT_TRUE(after == expected);
    EXPECT_THAT(run("exiftool -a -G1 -s -XMP-hdrgm:all -MPF:all -APP2:all " + file_),
                Not(HasSubstr("[")));
    EXPECT_EQ(run("exiftool -s3 -XMP:Rating " + file_), "4\n");
    EXPECT_EQ(run("exiftool -a -s3 -XMP:DirectoryItemSemantic " + file_), "Primary\nMotionPhoto\n");
  }
}

TEST_F(JpegGainMap, ItIsKnownByEachOfItsSigns) {
  const std::string expected = adjusted(plain_, false);
  const std::string isoMap = withSegment(bareMap_, 0xE2, kIsoHead + std::string(60, '\0'));
  const std::string phoneMap = withSegment(bareMap_, 0xE1, kXmpHead + kPhoneMapXmp);
  EXPECT_TRUE(adjusted(multiPicture({{plain_, kPrimary}, {isoMap, kUndefined}}, true)) == expected);
  EXPECT_TRUE(adjusted(multiPicture({{plain_, kPrimary}, {phoneMap, kUndefined}}, true)) ==
              expected);
  EXPECT_TRUE(adjusted(multiPicture({{plain_, kPrimary}, {bareMap_, kGainMapKind}}, true)) ==
              expected);
  // Listed by no index.
  EXPECT_TRUE(adjusted(plain_ + map_) == expected);
  EXPECT_TRUE(adjusted(plain_ + std::string(5, '\0') + isoMap + "the maker's video") ==
              expected + std::string(5, '\0') + "the maker's video");
}

TEST_F(JpegGainMap, BytesAroundItStay) {
  const std::string expected = adjusted(plain_, false);
  const Part base{plain_, kPrimary, std::string(7, '\0')};
  const Part map{map_, kUndefined, "pad and a video that follows", 4};
  EXPECT_TRUE(adjusted(multiPicture({base, map}, true)) ==
              expected + std::string(7, '\0') + "and a video that follows");
}

TEST_F(JpegGainMap, FurtherPicturesAndTheirIndexAreKept) {
  for (const bool little : {true, false}) {
    // The preview depends on the picture, the second one on the preview.
    const Part first{base_, kPrimary, "", 0, 2};
    const Part second{preview_, kPreview, "", 0, 1};
    const Part third{preview_, kPreview, "", 0, 3};
    const std::string after =
        adjusted(multiPicture({first, {map_, kUndefined}, second, third}, little));
    EXPECT_EQ(run("exiftool -s3 -NumberOfImages " + file_), "3\n");
    EXPECT_EQ(run("exiftool -a -s3 -DependentImage1EntryNumber " + file_), "0\n1\n2\n");
    EXPECT_EQ(
        run("exiftool -s3 -ImageUIDList -b " + file_).substr(0, 99),
        std::string(32, 'a') + '\0' + std::string(32, 'c') + '\0' + std::string(32, 'd') + '\0');
    EXPECT_THAT(after, Not(HasSubstr("hdrgm")));
    const std::string expected = adjusted(preview_, false);
    writeFile(file_, after);
    for (const int n : {2, 3}) {
      const auto field = [&](const std::string& tag) {
        return std::stoul(run("exiftool -q -a -s3 -" + tag + " " + file_ + " | sed -n " +
                              std::to_string(n) + "p"));
      };
      EXPECT_TRUE(after.substr(field("MPImageStart"), field("MPImageLength")) == expected) << n;
    }
    // Nothing lies between or behind them.
    EXPECT_TRUE(after.ends_with(expected + expected));
  }
}

TEST_F(JpegGainMap, NumbersThatFurtherPicturesGiveThemselvesFollow) {
  const auto own = [](std::uint32_t value) {
    return std::string("MPF\0MM\0*\0\0\0\x08\0\x01\xB1\x01\0\x04\0\0\0\x01", 22) +
           number(value, false) + std::string(4, '\0');
  };
  const std::string numbered = withSegment(preview_, 0xE2, own(3));
  const std::string after =
      adjusted(multiPicture({{base_, kPrimary}, {map_, kUndefined}, {numbered, kPreview}}, true));
  EXPECT_THAT(after, HasSubstr(own(2)));
  EXPECT_THAT(after, Not(HasSubstr(own(3))));
}

TEST_F(JpegGainMap, WithoutTheOptionEveryKindOfFileIsRefusedByName) {
  const std::string message =
      "the file holds a gain map, which would not fit the adjusted picture (--gain-map drop leaves "
      "it out)";
  for (const std::string& contents :
       {multiPicture({{base_, kPrimary}, {map_, kUndefined}}, true),
        multiPicture({{plain_, kPrimary}, {bareMap_, kGainMapKind}}, true), base_, plain_ + map_,
        withSegment(plain_, 0xE2, kIsoHead + std::string(4, '\0'))}) {
    EXPECT_EQ(refusal(contents, false), message);
  }
}

TEST_F(JpegGainMap, WithTheOptionAFileWithoutOneIsTheSameAsWithoutTheOption) {
  const std::string contents = multiPicture({{plain_, kPrimary}, {preview_, kPreview}}, true);
  EXPECT_TRUE(adjusted(contents, true) == adjusted(contents, false));
}

TEST_F(JpegGainMap, WhatCannotBeTakenOutIsRefusedUntouched) {
  const std::string damaged = kXmpHead + "<rdf:RDF hdrgm:Version='1.0'>";
  EXPECT_EQ(refusal(withSegment(plain_, 0xE1, damaged), true),
            "the gain map cannot be taken out, because the XMP that describes it is damaged");
  const std::string extended = std::string("http://ns.adobe.com/xmp/extension/\0", 35) +
                               std::string(32, 'A') + std::string(8, '\0') + kMapXmp;
  EXPECT_EQ(refusal(withSegment(plain_, 0xE1, extended), true),
            "the gain map is described in extended XMP, where it cannot be taken out");
  // A map of depth beside it.
  EXPECT_EQ(
      refusal(multiPicture({{base_, kPrimary}, {map_, kUndefined}, {bareMap_, kUndefined}}, true),
              true),
      "one of its further pictures (multi-picture) is of a kind that is not known, so that "
      "adjusting it could spoil it");
  // A picture that says nothing of itself, and a map that ends early.
  EXPECT_EQ(refusal(base_ + preview_, true),
            "the file holds further pictures (multi-picture); adjusting it would lose them");
  EXPECT_EQ(refusal(base_ + map_.substr(0, map_.size() - 2), true),
            "the file holds further pictures (multi-picture); adjusting it would lose them");
}

TEST_F(JpegGainMap, TheFileCutAtAnyPlaceIsNeverReplaced) {
  const std::string whole = multiPicture({{base_, kPrimary}, {map_, kUndefined}}, true);
  adjusted(whole);
  for (std::size_t length = 20; length < whole.size(); length += 1 + length / 64) {
    const std::string contents = whole.substr(0, length);
    writeFile(file_, contents);
    const auto result = rewrite(file_, Adjustment::invert, {.encode = {.dropGainMap = true}});
    ASSERT_FALSE(result) << length;
    ASSERT_EQ(readFile(file_), contents);
  }
}

TEST_F(JpegGainMap, DamagedFilesAreRewrittenWholeOrNotAtAll) {
  const std::string whole =
      multiPicture({{base_, kPrimary}, {map_, kUndefined}, {preview_, kPreview}}, true);
  std::mt19937 random(12);
  for (int i = 0; i < 400; ++i) {
    std::string damaged = whole;
    for (int k = 0; k <= i % 3; ++k) {
      damaged[random() % damaged.size()] = static_cast<char>(random());
    }
    writeFile(file_, damaged);
    if (rewrite(file_, Adjustment::none, {.encode = {.dropGainMap = true}})) {
      const auto source = CGImageSourceCreateWithURL(NSURL::fileURLWithPath(file_));
      ASSERT_TRUE(source) << i;
      EXPECT_EQ(CGImageSourceGetStatus(**source).status, CGImageSourceStatus::complete) << i;
    } else {
      ASSERT_TRUE(readFile(file_) == damaged) << i;
    }
  }
}

}  // namespace
}  // namespace kelvo::test
