#include "platform/image_io/tiff/tiff_file.h"

#include <algorithm>
#include <set>
#include <utility>

#include "platform/image_io/mapped_file.h"
#include "platform/image_io/tiff/tags.h"

namespace kelvo::tiff {
namespace {

// Directories below the frames: a frame has an EXIF, a GPS and an interoperability directory and
// perhaps a few more. What exceeds this is a file made to be a burden.
constexpr std::size_t kSubDirectoriesPerFrame = 64;
// Products of a picture's sizes, samples and bits stay within 64 bits below this.
constexpr std::uint64_t kMostPixels = 1ULL << 46;

SourceStatus invalid(std::string cause) {
  return {CGImageSourceStatus::invalidData, std::move(cause)};
}

bool isComplete(const SourceStatus& status) {
  return status.status == CGImageSourceStatus::complete;
}

std::string frameName(std::size_t frame) { return "frame " + std::to_string(frame); }

// Where the strips or tiles of one frame lie, against the file.
SourceStatus strileStatus(const View& view, const Picture& picture,
                          const std::vector<Extent>& striles, std::size_t frame) {
  const std::string what = picture.tiled ? "tile " : "strip ";
  for (std::size_t i = 0; i < striles.size(); ++i) {
    const auto name = [&] { return what + std::to_string(i) + " of " + frameName(frame); };
    if (striles[i].length == 0) return invalid(name() + " has no data");
    if (!view.holds(striles[i].offset, striles[i].length)) {
      return {CGImageSourceStatus::incomplete, name() + " lies beyond the end of the file"};
    }
    if (picture.compression != kNoCompression || picture.photometric == kYCbCr) continue;
    const auto row = static_cast<std::uint32_t>(i / picture.across() % picture.down());
    const std::uint64_t needed =
        picture.planeBytes(picture.strileWidth) * picture.rowsAt(row * picture.strileHeight);
    if (striles[i].length < needed) {
      return invalid(name() + " has " + std::to_string(striles[i].length) +
                     " bytes where its pixels need " + std::to_string(needed));
    }
  }
  return {};
}

}  // namespace

bool holdsPicture(const Directory& directory) {
  return directory.find(kStripOffsets) != nullptr || directory.find(kTileOffsets) != nullptr;
}

bool pointsAtDirectories(const Entry& entry) {
  if (entry.type == kIfd || entry.type == kIfd8) return true;
  if (entry.type != kLong && entry.type != kLong8) return false;
  switch (entry.tag) {
    case kSubIfds:
    case kGlobalParametersIfd:
    case kExifIfd:
    case kGpsIfd:
    case kInteroperabilityIfd:
      return true;
    default:
      return false;
  }
}

TiffFile::TiffFile(FileBytes bytes, const Limits& limits, Format format)
    : file_(std::move(bytes)),
      limits_(limits),
      view_{file_->bytes(), format},
      jobs_(std::make_unique<JobPool>(limits.threads)) {}

Result<std::shared_ptr<const TiffFile>> TiffFile::open(FileBytes bytes, const Limits& limits) {
  const auto format = readHeader(bytes->bytes());
  if (!format) return format.error();
  std::shared_ptr<TiffFile> file(new TiffFile(std::move(bytes), limits, *format));
  if (auto read = file->readFrames(); !read) return std::move(read).error();
  file->readSubDirectories();
  if (auto taken = file->takeSubPictures(); !taken) return std::move(taken).error();
  return std::shared_ptr<const TiffFile>(std::move(file));
}

Result<void> TiffFile::readFrames() {
  std::set<std::uint64_t> seen;
  std::uint64_t offset = view_.offset(view_.format.firstOffsetPosition());
  if (offset == 0) problem_ = invalid("the file has no directory");
  while (offset != 0) {
    if (!seen.insert(offset).second) {
      problem_ = invalid("the chain of directories runs in a circle");
      break;
    }
    auto [directory, problem] = readDirectory(view_, offset);
    if (!isComplete(problem)) {
      problem_ = std::move(problem);
      break;
    }
    if (!countTable(directory)) break;
    offset = directory.next;
    if (auto added = addFrame(std::move(directory)); !added) return added;
  }
  return {};
}

Result<void> TiffFile::addFrame(Directory directory) {
  if (frames_.size() >= limits_.maxFrames) {
    return Error{"the file has more than the " + std::to_string(limits_.maxFrames) +
                 " frames allowed (--max-frames)"};
  }
  auto picture = readPicture(view_, directory);
  if (picture) {
    const std::uint64_t pixels = std::uint64_t{picture->width} * picture->height;
    if (pixels > std::min(limits_.maxPixels, kMostPixels)) {
      return Error{frameName(frames_.size()) + " has " + std::to_string(pixels) +
                   " pixels, more than the " + std::to_string(limits_.maxPixels) +
                   " allowed (--max-pixels)"};
    }
  }
  frames_.push_back(std::move(directory));
  pictures_.push_back(std::move(picture));
  return {};
}

// Pictures below others (smaller versions of them, most of the time) are frames, too.
Result<void> TiffFile::takeSubPictures() {
  std::vector<SubDirectory> others;
  for (SubDirectory& sub : subs_) {
    if (sub.tag != kSubIfds || !holdsPicture(sub.directory)) {
      others.push_back(std::move(sub));
    } else if (auto added = addFrame(std::move(sub.directory)); !added) {
      return added;
    }
  }
  subs_ = std::move(others);
  return {};
}

// Directories that lie on top of each other could add up to far more than the file.
bool TiffFile::countTable(const Directory& directory) {
  tableBytes_ += directory.tableBytes;
  if (tableBytes_ <= view_.bytes.size()) return true;
  problem_ = invalid("its directories lie on top of each other");
  return false;
}

void TiffFile::readSubDirectories() {
  std::set<std::uint64_t> seen;
  for (const Directory& frame : frames_) seen.insert(frame.offset);
  const std::size_t most = kSubDirectoriesPerFrame * (frames_.size() + 1);
  const auto follow = [&](const Directory& from) {
    for (const Entry& entry : from.entries) {
      if (!pointsAtDirectories(entry)) continue;
      for (std::uint64_t offset : integers(view_, entry)) {
        // Only pictures form chains; after any other directory the next offset has no meaning.
        while (offset != 0 && seen.insert(offset).second) {
          if (subs_.size() >= most) {
            problem_ = invalid("it has too many directories");
            return;
          }
          auto [directory, problem] = readDirectory(view_, offset);
          if (!isComplete(problem)) {
            if (isComplete(problem_)) problem_ = std::move(problem);
            break;
          }
          if (!countTable(directory)) return;
          offset = entry.tag == kSubIfds ? directory.next : 0;
          subs_.push_back({std::move(directory), entry.tag});
        }
      }
    }
  };
  for (const Directory& frame : frames_) follow(frame);
  // Grows while it is walked.
  for (std::size_t i = 0; i < subs_.size() && isComplete(problem_); ++i) {
    const Directory from = subs_[i].directory;
    follow(from);
  }
}

Result<std::vector<Extent>> TiffFile::striles(std::size_t frame) const {
  if (!pictures_[frame]) return pictures_[frame].error();
  return readStriles(view_, frames_[frame], *pictures_[frame]);
}

SourceStatus TiffFile::status() const {
  if (!isComplete(problem_)) return problem_;
  std::uint64_t listed = 0;
  for (std::size_t i = 0; i < frames_.size(); ++i) {
    if (!pictures_[i]) return invalid(frameName(i) + ": " + pictures_[i].error().message);
    // Pixels that old-style JPEG keeps elsewhere are not looked at; such a frame is never decoded.
    if (pictures_[i]->compression == kOldJpeg) continue;
    const auto striles = this->striles(i);
    if (!striles) return invalid(frameName(i) + ": " + striles.error().message);
    listed += striles->size();
    if (listed > view_.bytes.size()) return invalid("it lists more strips than it has bytes");
    auto status = strileStatus(view_, *pictures_[i], *striles, i);
    if (!isComplete(status)) return status;
  }
  for (const SubDirectory& sub : subs_) {
    if (!holdsPicture(sub.directory)) continue;
    const auto picture = readPicture(view_, sub.directory);
    if (!picture) return invalid("a sub-directory: " + picture.error().message);
    const auto striles = readStriles(view_, sub.directory, *picture);
    if (!striles) return invalid("a sub-directory: " + striles.error().message);
    for (const Extent& strile : *striles) {
      if (!view_.holds(strile.offset, strile.length)) {
        return {CGImageSourceStatus::incomplete,
                "pixels of a sub-directory lie beyond the end of the file"};
      }
    }
  }
  return {};
}

}  // namespace kelvo::tiff
