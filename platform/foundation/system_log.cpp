#include "platform/foundation/system_log.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>

namespace kelvo {
namespace {

constexpr const char* kJournalSocket = "/run/systemd/journal/socket";
constexpr const char* kIdentifier = "kelvo";

int priority(std::string_view text) { return text.starts_with("Warning") ? LOG_WARNING : LOG_ERR; }

// NAME=VALUE, or, for a value that holds a line break, NAME, its length and its bytes.
void appendField(std::string& message, std::string_view name, std::string_view value) {
  message += name;
  if (value.find('\n') == std::string_view::npos) {
    message += '=';
  } else {
    message += '\n';
    for (unsigned shift = 0; shift < 64; shift += 8) {
      message += static_cast<char>((std::uint64_t{value.size()} >> shift) & 0xFFU);
    }
  }
  message += value;
  message += '\n';
}

}  // namespace

std::string journalMessage(const LogRecord& record) {
  std::string message;
  appendField(message, "MESSAGE", record.text);
  appendField(message, "PRIORITY", std::to_string(priority(record.text)));
  appendField(message, "SYSLOG_IDENTIFIER", kIdentifier);
  if (!record.path.empty()) {
    appendField(message, "KELVO_PATH", record.path);
  }
  if (!record.detail.empty()) {
    appendField(message, "KELVO_DETAIL", record.detail);
  }
  return message;
}

std::string syslogMessage(const LogRecord& record) {
  std::string message(record.text);
  if (record.path.empty() && record.detail.empty()) {
    return message;
  }
  const auto field = [&message](std::string_view name, std::string_view value) {
    message += name;
    message += "=\"";
    for (const char c : value) {
      if (c == '"' || c == '\\') {
        message += '\\';
      }
      message += c;
    }
    message += '"';
  };
  message += " [";
  if (!record.path.empty()) {
    field("path", record.path);
  }
  if (!record.detail.empty()) {
    field(record.path.empty() ? "detail" : " detail", record.detail);
  }
  message += ']';
  return message;
}

bool sendToJournal(const LogRecord& record, const std::string& socketPath) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (socketPath.size() >= sizeof address.sun_path) {
    return false;
  }
  std::memcpy(address.sun_path, socketPath.data(), socketPath.size());
  const int journal = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (journal < 0) {
    return false;
  }
  const std::string message = journalMessage(record);
  // A journal that is too busy to take a line does not hold up the work.
  const ssize_t sent =
      ::sendto(journal, message.data(), message.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
               reinterpret_cast<const sockaddr*>(&address), sizeof address);
  ::close(journal);
  return sent == static_cast<ssize_t>(message.size());
}

void writeToSystemLog(const LogRecord& record) {
  if (!sendToJournal(record, kJournalSocket)) {
    ::syslog(LOG_USER | priority(record.text), "%s", syslogMessage(record).c_str());
  }
}

}  // namespace kelvo
