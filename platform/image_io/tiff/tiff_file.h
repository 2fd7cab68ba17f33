#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/image_io/codec.h"
#include "platform/image_io/tiff/directory.h"
#include "platform/image_io/tiff/job_pool.h"
#include "platform/image_io/tiff/picture.h"

namespace kelvo::tiff {

// A directory that another one points at, and no frame.
struct SubDirectory {
  Directory directory;
  std::uint16_t tag = 0;  // of the entry that points at it (or at the first of its chain)
};

// An opened TIFF file: its directories, read once.
class TiffFile {
 public:
  // Errors: no TIFF header; more frames or pixels than the limits allow. Damage further in is left
  // to status().
  static Result<std::shared_ptr<const TiffFile>> open(FileBytes bytes, const Limits& limits);

  [[nodiscard]] const MappedFile& bytes() const { return *file_; }
  [[nodiscard]] const View& view() const { return view_; }
  [[nodiscard]] const Limits& limits() const { return limits_; }
  // What the strips and tiles are decoded and encoded by.
  [[nodiscard]] JobPool& jobs() const { return *jobs_; }
  // The main chain, then the pictures in sub-directories: a frame each. There is at least one if
  // the status is complete, and the first is the first of the chain.
  [[nodiscard]] const std::vector<Directory>& frames() const { return frames_; }
  [[nodiscard]] const std::vector<SubDirectory>& subDirectories() const { return subs_; }
  [[nodiscard]] const Result<Picture>& picture(std::size_t frame) const { return pictures_[frame]; }
  [[nodiscard]] Result<std::vector<Extent>> striles(std::size_t frame) const;

  // Whether every directory was read and every strip or tile lies within the file.
  [[nodiscard]] SourceStatus status() const;

 private:
  TiffFile(FileBytes bytes, const Limits& limits, Format format);
  Result<void> readFrames();
  Result<void> addFrame(Directory directory);
  void readSubDirectories();
  Result<void> takeSubPictures();
  bool countTable(const Directory& directory);

  FileBytes file_;
  Limits limits_;
  View view_;
  std::unique_ptr<JobPool> jobs_;
  std::vector<Directory> frames_;
  std::vector<SubDirectory> subs_;
  std::vector<Result<Picture>> pictures_;
  std::uint64_t tableBytes_ = 0;
  SourceStatus problem_;  // met while the directories were read
};

// Whether a directory has strips or tiles.
bool holdsPicture(const Directory& directory);

// Whether the values of this entry are offsets of directories.
bool pointsAtDirectories(const Entry& entry);

}  // namespace kelvo::tiff
