#include "action/apply_filter_for_files.h"

#include <algorithm>
#include <exception>
#include <functional>
#include <string>
#include <utility>

#include "action/apply_image.h"
#include "platform/foundation/ns_log.h"
#include "platform/foundation/ns_url.h"
#include "platform/image/render.h"
#include "platform/image_io/cg_image_destination.h"
#include "platform/image_io/cg_image_source.h"

namespace kelvo {
namespace {

constexpr std::string_view kPhotoshopType = "com.adobe.photoshop-image";

std::string atFrame(std::string_view text, std::size_t frame) {
  return std::string(text) + ", frame " + std::to_string(frame);
}

using Progress = std::function<void()>;

// Tells errors of the source's own pixels from errors of writing: rows are decoded while the
// destination pulls them, so both come out of the same call.
class WatchedRows final : public RowSource {
 public:
  WatchedRows(std::unique_ptr<RowSource> rows, std::shared_ptr<bool> failed, Progress progress)
      : rows_(std::move(rows)), failed_(std::move(failed)), progress_(std::move(progress)) {}

  Result<void> read(std::span<std::byte> pixels, std::uint32_t rows) override {
    auto read = rows_->read(pixels, rows);
    if (!read) *failed_ = true;
    progress_();
    return read;
  }

 private:
  std::unique_ptr<RowSource> rows_;
  std::shared_ptr<bool> failed_;
  Progress progress_;
};

CGImage watch(CGImage image, std::shared_ptr<bool> failed, Progress progress) {
  image.openRows = [open = std::move(image.openRows), failed = std::move(failed),
                    progress = std::move(progress)]() -> Result<std::unique_ptr<RowSource>> {
    auto rows = open();
    if (!rows) {
      *failed = true;
      return rows;
    }
    return std::unique_ptr<RowSource>(
        std::make_unique<WatchedRows>(std::move(rows).value(), failed, progress));
  };
  return image;
}

// One file of the run.
class FileRun {
 public:
  FileRun(const ActionParameters& parameters, const RunOptions& options, std::string path)
      : parameters_(parameters), options_(options) {
    outcome_.path = std::move(path);
  }

  FileOutcome run() {
    const LogSubject subject(outcome_.path);
    const NSURL url = NSURL::fileURLWithPath(outcome_.path);
    auto source = CGImageSourceCreateWithURL(url, options_.replace.limits);
    if (!source) {
      NSLog("Error: Cann't load this file, source problem", source.error().message);
      return std::move(outcome_);
    }
    if (CGImageSourceGetType(**source) == kPhotoshopType) {
      NSLog("Warning: Ignoring photoshop image");
      return std::move(outcome_);
    }
    const SourceStatus status = CGImageSourceGetStatus(**source);
    if (status.status != CGImageSourceStatus::complete) {
      NSLog("Error: Cann't load this file, status problem", status.cause);
      return std::move(outcome_);
    }
    rewrite(url, **source);
    return std::move(outcome_);
  }

 private:
  void rewrite(const NSURL& url, const CGImageSource& source) {
    outcome_.frames = CGImageSourceGetCount(source);
    auto destination = openDestination(url, source);
    const bool open = destination.ok();
    bool success = true;
    for (std::size_t frame = 0; frame < outcome_.frames; ++frame) {
      if (!adjustFrame(source, frame, open ? destination->get() : nullptr)) success = false;
    }
    if (!success) return;
    auto finalized =
        open ? CGImageDestinationFinalize(**destination) : Result<void>(destination.error());
    if (finalized) {
      outcome_.rewritten = true;
      outcome_.warnings = (*destination)->warnings();
    } else {
      NSLog("Error: Cann't finalize", finalized.error().message);
    }
  }

  Result<CGImageDestinationRef> openDestination(const NSURL& url, const CGImageSource& source) {
    auto writable = source.frames().writable(options_.replace.encode);
    if (!writable) return std::move(writable).error();
    return CGImageDestinationCreateWithURL(url, CGImageSourceGetType(source), outcome_.frames,
                                           options_.replace);
  }

  // Without a destination the frame is only checked as far as that costs nothing.
  bool adjustFrame(const CGImageSource& source, std::size_t frame,
                   CGImageDestination* destination) {
    const std::string cgImageProblem =
        atFrame("Error: Cann't load this file, cgimage problem", frame);
    const Progress progress = progressOf(source.frames().info(frame));
    progress();
    auto frameImage = CGImageSourceCreateImageAtIndex(source, frame);
    if (!frameImage) return noImage(cgImageProblem, frameImage.error());
    const CGColorSpaceRef& ownSpace = CGImageGetColorSpace(*frameImage);
    auto inDeviceRGB = CGImageCreateCopyWithColorSpace(*frameImage, CGColorSpaceCreateDeviceRGB());
    if (!inDeviceRGB) {
      NSLog(cgImageProblem, "only RGB pictures can be adjusted");
      return false;
    }
    const auto damaged = std::make_shared<bool>(false);
    const CIImageRef image = CIImage::imageWithCGImage(watch(*inDeviceRGB, damaged, progress));
    if (!image) {
      NSLog(atFrame("Error: Cann't load this file, ciimage problem", frame));
      return false;
    }
    const bool keepDepth =
        options_.replace.encode.keepDepth && frameImage->layout.type == SampleType::u16;
    auto rendered = render(
        applyImage(parameters_, image, keptBytesWithin(options_.replace.limits.maxMemoryBytes)),
        {.type = keepDepth ? SampleType::u16 : SampleType::u8,
         .dropAlpha = frameImage->layout.alpha == AlphaInfo::none,
         .colorSpace = ownSpace,
         .maxMemoryBytes = options_.replace.limits.maxMemoryBytes});
    if (!rendered) {
      NSLog(atFrame("Error: Cann't load this file, newImage problem", frame),
            rendered.error().message);
      return false;
    }
    noteDepth(source.frames().info(frame).bitsPerComponent, keepDepth ? 16 : 8);
    auto properties = CGImageSourceCopyPropertiesAtIndex(source, frame);
    if (!properties) return noImage(cgImageProblem, properties.error());
    if (destination == nullptr) return true;
    auto added = CGImageDestinationAddImage(*destination, *rendered, **properties);
    if (!added && *damaged) return noImage(cgImageProblem, added.error());
    // An error of the destination stays with it and is told when it is finalized.
    return true;
  }

  [[nodiscard]] Progress progressOf(const FrameInfo& frame) const {
    if (!options_.onProgress) return [] {};
    return
        [this, pixels = std::uint64_t{frame.width} * frame.height] { options_.onProgress(pixels); };
  }

  static bool noImage(const std::string& text, const Error& cause) {
    NSLog(text, cause.message);
    NSLog("no cgimage");
    return false;
  }

  void noteDepth(std::uint32_t stored, std::uint32_t written) {
    outcome_.sourceDepth = std::max(outcome_.sourceDepth, stored);
    outcome_.writtenDepth = std::max(outcome_.writtenDepth, written);
  }

  const ActionParameters& parameters_;
  const RunOptions& options_;
  FileOutcome outcome_;
};

// No exception crosses the action's boundary; what can still be thrown is lack of memory.
FileOutcome runGuarded(const ActionParameters& parameters, const RunOptions& options,
                       const std::string& path) try {
  return FileRun(parameters, options, path).run();
} catch (const std::exception& problem) {
  const LogSubject subject(path);
  NSLog("Error: Cann't finalize", problem.what());
  FileOutcome outcome;
  outcome.path = path;
  return outcome;
}

}  // namespace

PathList applyFilterForFiles(const ActionParameters& parameters, const PathList& paths,
                             const RunOptions& options) {
  PathList rewritten;
  // By index: the list may grow while it is worked on.
  // NOLINTNEXTLINE(modernize-loop-convert)
  for (std::size_t i = 0; i < paths.size(); ++i) {
    const FileOutcome outcome = runGuarded(parameters, options, paths[i]);
    if (outcome.rewritten) rewritten.push_back(outcome.path);
    if (options.onFile) options.onFile(outcome);
  }
  return rewritten;
}

}  // namespace kelvo
