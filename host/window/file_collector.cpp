#include "host/window/file_collector.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include "host/descriptor.h"
#include "host/window/paths.h"
#include "platform/image_io/codec.h"

namespace kelvo::window {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kHead = 4096;  // more than any format needs to be known by

QString because(int code) { return QString::fromStdString(std::generic_category().message(code)); }

const Codec* formatOf(const std::string& path, int& failure) {
  const host::Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file) {
    failure = errno;
    return nullptr;
  }
  std::array<std::byte, kHead> head;
  const ssize_t got = ::read(file.number(), head.data(), head.size());
  if (got < 0) {
    failure = errno;
    return nullptr;
  }
  const auto known = codecs();
  const auto found = std::ranges::find_if(known, [&](const Codec& codec) {
    return codec.matches(std::span(head).first(static_cast<std::size_t>(got)));
  });
  return found == known.end() ? nullptr : &*found;
}

class Collector {
 public:
  explicit Collector(const std::atomic<bool>& stopped) : stopped_(stopped) {}

  void take(const std::string& name) {
    struct stat status {};
    if (::stat(name.c_str(), &status) != 0) {
      refuse(name, because(errno));
    } else if (S_ISDIR(status.st_mode)) {
      walk(name);
    } else if (!S_ISREG(status.st_mode)) {
      refuse(name, QObject::tr("it is no file"));
    } else {
      takeFile(name);
    }
  }

  Collection collection;

 private:
  void refuse(const std::string& name, const QString& why) {
    collection.refused.push_back(shown(name) + QStringLiteral(": ") + why);
  }

  void add(const std::string& path) {
    std::error_code failed;
    const fs::path real = fs::canonical(path, failed);
    collection.files.push_back({path, failed ? path : real.string()});
  }

  void takeFile(const std::string& name) {
    int failure = 0;
    if (formatOf(name, failure) != nullptr) {
      add(name);
    } else {
      refuse(name, failure != 0 ? because(failure)
                                : QObject::tr("it is no photograph of a known format"));
    }
  }

  void walk(const std::string& folder) {
    std::error_code failed;
    std::vector<fs::directory_entry> entries;
    for (fs::directory_iterator entry(folder, failed), end; !failed && entry != end && !stopped_;
         entry.increment(failed)) {
      if (!entry->path().filename().string().starts_with('.')) {
        entries.push_back(*entry);
      }
    }
    if (failed) {
      refuse(folder, because(failed.value()));
    }
    std::ranges::sort(entries);
    for (const fs::directory_entry& entry : entries) {
      if (stopped_) {
        return;
      }
      if (entry.is_directory(failed)) {
        if (!entry.is_symlink(failed)) {
          walk(entry.path().string());
        }
      } else {
        takeFromFolder(entry);
      }
    }
  }

  void takeFromFolder(const fs::directory_entry& entry) {
    std::error_code failed;
    int failure = 0;
    const Codec* format = nullptr;
    if (entry.is_regular_file(failed)) {
      format = formatOf(entry.path().string(), failure);
    }
    if (failure != 0) {
      refuse(entry.path().string(), because(failure));
    } else if (format == nullptr || format->createWriter == nullptr) {
      ++collection.passedOver;
    } else {
      add(entry.path().string());
    }
  }

  const std::atomic<bool>& stopped_;
};

}  // namespace

Collection collectFiles(const std::vector<std::string>& names, const std::atomic<bool>& stopped) {
  Collector collector(stopped);
  for (const std::string& name : names) {
    collector.take(name);
  }
  return std::move(collector.collection);
}

FileCollector::FileCollector(QObject* parent) : QObject(parent) { pool_.setMaxThreadCount(1); }

FileCollector::~FileCollector() {
  stopped_ = true;
  pool_.waitForDone();
}

void FileCollector::collect(std::vector<std::string> names) {
  pool_.start([this, names = std::move(names)] {
    const Collection collection = collectFiles(names, stopped_);
    if (!stopped_) {
      emit collected(collection);
    }
  });
}

}  // namespace kelvo::window
