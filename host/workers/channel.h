#pragma once

#include "host/descriptor.h"
#include "host/workers/protocol.h"

namespace kelvo::host {

// One end of the socket between the host and a worker.
class Channel {
 public:
  Channel() = default;
  explicit Channel(Descriptor socket) : socket_(std::move(socket)) {}

  [[nodiscard]] int number() const { return socket_.number(); }

  // Waits until all of it is handed over. False if the other side is gone.
  bool send(const Message& message);

  // Takes in what has arrived, waiting for the first byte if `wait`. False at the end: the other
  // side is gone, and what came before is still to be had from next().
  bool receive(bool wait);

  Result<std::optional<Message>> next() { return frames_.next(); }

 private:
  Descriptor socket_;
  FrameReader frames_;
};

}  // namespace kelvo::host
