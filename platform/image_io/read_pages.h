#pragma once

#include <cstddef>

namespace kelvo {

class MappedFile;

// Lets go of a mapped file's pages as reading advances, so that a file of any size takes little
// memory: pages of a file that are mapped count as the process's own. They come back, unchanged, if
// they are read again. Does nothing for bytes that were in memory before.
class ReadPages {
 public:
  // `file` outlives this; null: nothing to let go of.
  explicit ReadPages(const MappedFile* file);

  // What lies before `position` has been read. Cheap. A position outside of the file is none:
  // decoders that reach a file's end before a picture's read on from bytes of their own.
  void upTo(const std::byte* position) {
    if (position >= due_ && position <= end_) release(position);
  }

 private:
  void release(const std::byte* position);

  const std::byte* begin_ = nullptr;  // what lies before has been let go of
  const std::byte* due_ = nullptr;    // reading has to get here before there is anything to do
  const std::byte* end_ = nullptr;    // of the file; null: there is nothing to let go of
};

}  // namespace kelvo
