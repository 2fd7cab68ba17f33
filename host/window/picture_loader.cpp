#include "host/window/picture_loader.h"

#include <poll.h>

#include <utility>

#include "host/workers/silence.h"

namespace kelvo::window {
namespace {

constexpr std::size_t kMostWaiting = 500;  // more rows than any screen shows

QString describe(const host::PictureMessage& picture) {
  QString text = QString::fromStdString(picture.format);
  if (picture.fullWidth > 0) {
    text += QStringLiteral(", %1 × %2").arg(picture.fullWidth).arg(picture.fullHeight);
  }
  if (picture.frames > 1) {
    text += QStringLiteral(", %1 frames").arg(picture.frames);
  }
  return text;
}

}  // namespace

PictureLoader::PictureLoader(QObject* parent, std::chrono::seconds patience)
    : QObject(parent), patience_(patience), thread_([this] { work(); }) {}

PictureLoader::~PictureLoader() {
  {
    const std::lock_guard guard(lock_);
    stop_.request();
  }
  changed_.notify_one();
  thread_.join();
}

void PictureLoader::request(const std::string& path, std::uint32_t longerSide) {
  {
    const std::lock_guard guard(lock_);
    requests_.push_back({path, longerSide});
    if (requests_.size() > kMostWaiting) {
      requests_.pop_front();
    }
  }
  changed_.notify_one();
}

void PictureLoader::forget(std::uint32_t longerSide) {
  const std::lock_guard guard(lock_);
  std::erase_if(requests_, [longerSide](const host::PictureRequestMessage& request) {
    return request.longerSide == longerSide;
  });
}

// The worker lives and dies with this thread.
void PictureLoader::work() {
  while (true) {
    host::PictureRequestMessage next;
    {
      std::unique_lock guard(lock_);
      changed_.wait(guard, [this] { return stop_.count() > 0 || !requests_.empty(); });
      if (stop_.count() > 0) {
        break;
      }
      next = std::move(requests_.back());
      requests_.pop_back();
    }
    LoadedPicture picture = load(next);
    if (stop_.count() > 0) {
      break;
    }
    emit loaded(picture);
  }
  if (worker_) {
    worker_->kill();
    worker_.reset();
  }
}

LoadedPicture PictureLoader::load(const host::PictureRequestMessage& request) {
  LoadedPicture loaded;
  loaded.path = request.path;
  loaded.longerSide = request.longerSide;
  std::string failure;
  const auto picture = ask(request, failure);
  if (!picture) {
    loaded.failure = QString::fromStdString(failure);
    return loaded;
  }
  loaded.failure = QString::fromStdString(picture->failure);
  loaded.description = describe(*picture);
  loaded.adjustable = picture->adjustable;
  const std::size_t bytes = std::size_t{picture->width} * picture->height * 4;
  if (bytes > 0 && picture->pixels.size() == bytes) {
    const auto* const pixels = reinterpret_cast<const uchar*>(picture->pixels.data());
    loaded.image =
        QImage(pixels, static_cast<int>(picture->width), static_cast<int>(picture->height),
               static_cast<qsizetype>(picture->width) * 4, QImage::Format_RGBA8888_Premultiplied)
            .copy();
  }
  return loaded;
}

std::optional<host::PictureMessage> PictureLoader::ask(const host::PictureRequestMessage& request,
                                                       std::string& failure) {
  if (!worker_ || !worker_->channel().send(request)) {
    worker_.reset();
    auto started = host::WorkerProcess::start(request, host::WorkerKind::fresh);
    if (!started) {
      failure = started.error().message;
      return std::nullopt;
    }
    worker_ = std::move(started).value();
  }
  auto picture = answer(failure);
  if (!picture) {
    worker_->kill();
    const std::string end = worker_->reap();
    if (failure.empty()) {
      failure = end;
    }
    worker_.reset();
  }
  return picture;
}

// Absent when the worker has come to an end, when there is nobody left to wait for it, or, with a
// reason, when nothing was heard of it for too long.
std::optional<host::PictureMessage> PictureLoader::answer(std::string& failure) {
  host::Looks looks;
  host::Looks::Clock::duration silence{0};
  std::uint64_t pixels = 0;
  bool open = true;
  while (true) {
    auto next = worker_->channel().next();
    if (!next) {
      return std::nullopt;
    }
    if (*next) {
      if (auto* const picture = std::get_if<host::PictureMessage>(&**next)) {
        return std::move(*picture);
      }
      if (const auto* const progress = std::get_if<host::ProgressMessage>(&**next)) {
        pixels = progress->pixels;
      }
      continue;
    }
    if (!open || stop_.count() > 0) {
      return std::nullopt;
    }
    std::vector<pollfd> waiting = {{worker_->channel().number(), POLLIN, 0}};
    stop_.addWaiting(waiting);
    ::poll(waiting.data(), waiting.size(), static_cast<int>(host::kLook.count()));
    silence += looks.next();
    if (waiting[0].revents != 0) {
      silence = {};
      open = worker_->channel().receive(false);
    } else if (silence > host::longestSilence(patience_, pixels, 0)) {
      failure = host::describeSilence(silence);
      return std::nullopt;
    }
  }
}

}  // namespace kelvo::window
