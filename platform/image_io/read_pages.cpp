#include "platform/image_io/read_pages.h"

#include <sys/mman.h>
#include <unistd.h>

#include "platform/image_io/mapped_file.h"

namespace kelvo {
namespace {

// Much beside what a system call costs, little beside what decoders take.
constexpr std::size_t kStep = std::size_t{1} << 20;

}  // namespace

ReadPages::ReadPages(const MappedFile* file) {
  if (file == nullptr || !file->identity()) return;
  begin_ = file->bytes().data();
  due_ = begin_ + kStep;
  end_ = begin_ + file->bytes().size();
}

void ReadPages::release(const std::byte* position) {
  const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
  // A mapping begins with a page.
  const std::size_t bytes = static_cast<std::size_t>(position - begin_) / page * page;
  ::madvise(const_cast<std::byte*>(begin_), bytes, MADV_DONTNEED);
  begin_ += bytes;
  due_ = begin_ + kStep;
}

}  // namespace kelvo
