#pragma once

#include <cstdint>

// The tags that this codec reads or changes; every other tag is carried over unread.
namespace kelvo::tiff {

enum Tag : std::uint16_t {
  kImageWidth = 256,
  kImageLength = 257,
  kBitsPerSample = 258,
  kCompression = 259,
  kPhotometric = 262,
  kFillOrder = 266,
  kStripOffsets = 273,
  kOrientation = 274,
  kSamplesPerPixel = 277,
  kRowsPerStrip = 278,
  kStripByteCounts = 279,
  kMinSampleValue = 280,
  kMaxSampleValue = 281,
  kPlanarConfiguration = 284,
  kTransferFunction = 301,
  kPredictor = 317,
  kColorMap = 320,
  kHalftoneHints = 321,
  kTileWidth = 322,
  kTileLength = 323,
  kTileOffsets = 324,
  kTileByteCounts = 325,
  kSubIfds = 330,
  kExtraSamples = 338,
  kSampleFormat = 339,
  kSMinSampleValue = 340,
  kSMaxSampleValue = 341,
  kJpegTables = 347,
  kGlobalParametersIfd = 400,
  kJpegInterchangeFormat = 513,
  kJpegInterchangeFormatLength = 514,
  kJpegQTables = 519,
  kJpegDcTables = 520,
  kJpegAcTables = 521,
  kYCbCrSubSampling = 530,
  kReferenceBlackWhite = 532,
  kXmp = 700,
  kPhotoshop = 34377,
  kExifIfd = 34665,
  kIccProfile = 34675,
  kGpsIfd = 34853,
  kMakerNote = 37500,
  kImageSourceData = 37724,
  kInteroperabilityIfd = 40965,
  kDngVersion = 50706,
};

enum FieldType : std::uint16_t {
  kByte = 1,
  kAscii = 2,
  kShort = 3,
  kLong = 4,
  kRational = 5,
  kSByte = 6,
  kUndefined = 7,
  kSShort = 8,
  kSLong = 9,
  kSRational = 10,
  kFloat = 11,
  kDouble = 12,
  kIfd = 13,
  kLong8 = 16,
  kSLong8 = 17,
  kIfd8 = 18,
};

// Bytes of one value; 0 for a type that is not known.
constexpr std::uint32_t fieldBytes(std::uint16_t type) {
  switch (type) {
    case kByte:
    case kAscii:
    case kSByte:
    case kUndefined:
      return 1;
    case kShort:
    case kSShort:
      return 2;
    case kLong:
    case kSLong:
    case kFloat:
    case kIfd:
      return 4;
    case kRational:
    case kSRational:
    case kDouble:
    case kLong8:
    case kSLong8:
    case kIfd8:
      return 8;
    default:
      return 0;
  }
}

enum Compression : std::uint16_t {
  kNoCompression = 1,
  kCcittRle = 2,
  kCcittFax3 = 3,
  kCcittFax4 = 4,
  kLzw = 5,
  kOldJpeg = 6,
  kJpeg = 7,
  kAdobeDeflate = 8,
  kPackBits = 32773,
  kDeflate = 32946,
  kLzma = 34925,
  kZstd = 50000,
  kWebp = 50001,
};

enum Photometric : std::uint16_t {
  kMinIsWhite = 0,
  kMinIsBlack = 1,
  kRgb = 2,
  kPalette = 3,
  kMask = 4,
  kSeparated = 5,
  kYCbCr = 6,
  kCieLab = 8,
  kIccLab = 9,
  kItuLab = 10,
};

enum ExtraSample : std::uint16_t { kUnspecified = 0, kAssociated = 1, kUnassociated = 2 };

}  // namespace kelvo::tiff
