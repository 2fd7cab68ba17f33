#pragma once

#include <QImage>
#include <QObject>
#include <QString>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "host/arguments/command.h"
#include "host/window/stop_switch.h"
#include "host/workers/worker_process.h"

namespace kelvo::window {

// A file as it looks, small.
struct LoadedPicture {
  std::string path;
  std::uint32_t longerSide = 0;  // as asked for
  QImage image;                  // null: there is none, and `failure` says why
  QString failure;
  QString description;      // "JPEG, 6000 × 4000"
  bool adjustable = false;  // an RGB frame in a format that is written
};

// Makes pictures one after the other, in a worker process of its own: neither a damaged file nor
// one that shrinks while it is read can take the window down, and the window never waits.
class PictureLoader : public QObject {
  Q_OBJECT

 public:
  // A worker may be silent for `patience`, and longer over large frames.
  explicit PictureLoader(
      QObject* parent = nullptr,
      std::chrono::seconds patience = std::chrono::seconds(host::kDefaultMaxSeconds));
  ~PictureLoader() override;

  // The latest request is served first: it is what people look at.
  void request(const std::string& path, std::uint32_t longerSide);
  // Drops the requests for pictures of this size.
  void forget(std::uint32_t longerSide);

 signals:
  void loaded(const kelvo::window::LoadedPicture& picture);

 private:
  void work();
  LoadedPicture load(const host::PictureRequestMessage& request);
  std::optional<host::PictureMessage> ask(const host::PictureRequestMessage& request,
                                          std::string& failure);
  std::optional<host::PictureMessage> answer(std::string& failure);

  std::mutex lock_;
  std::condition_variable changed_;
  std::deque<host::PictureRequestMessage> requests_;  // the next one last
  std::chrono::seconds patience_;
  StopSwitch stop_;
  std::optional<host::WorkerProcess> worker_;  // the thread's own
  std::thread thread_;
};

}  // namespace kelvo::window
