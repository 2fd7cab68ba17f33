#include "host/workers/channel.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>

namespace kelvo::host {

bool Channel::send(const Message& message) {
  const std::string frame = encodeFrame(message);
  std::string_view rest = frame;
  while (!rest.empty()) {
    const ssize_t sent = ::send(socket_.number(), rest.data(), rest.size(), MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) {
      continue;
    }
    if (sent < 0) {
      return false;
    }
    rest.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

bool Channel::receive(bool wait) {
  std::array<char, 16384> buffer;
  while (true) {
    const ssize_t got =
        ::recv(socket_.number(), buffer.data(), buffer.size(), wait ? 0 : MSG_DONTWAIT);
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
      return true;
    }
    if (got <= 0) {
      return false;
    }
    frames_.append({buffer.data(), static_cast<std::size_t>(got)});
    if (wait || static_cast<std::size_t>(got) < buffer.size()) {
      return true;
    }
  }
}

}  // namespace kelvo::host
