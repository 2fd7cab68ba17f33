#include "platform/foundation/ns_notification_center.h"

#include <map>
#include <mutex>
#include <utility>
#include <vector>

namespace kelvo {

struct NSNotificationCenter::Registry {
  struct Entry {
    std::string name;
    const void* object;
    std::shared_ptr<const Observer> observer;
  };
  std::mutex mutex;
  std::map<std::uint64_t, Entry> entries;  // by number of registration, so in their order
  std::uint64_t lastId = 0;
};

NSNotificationCenter::Token::Token(std::weak_ptr<Registry> registry, std::uint64_t id)
    : registry_(std::move(registry)), id_(id) {}

NSNotificationCenter::Token::Token(Token&& other) noexcept
    : registry_(std::move(other.registry_)), id_(std::exchange(other.id_, 0)) {}

NSNotificationCenter::Token& NSNotificationCenter::Token::operator=(Token&& other) noexcept {
  if (this != &other) {
    reset();
    registry_ = std::move(other.registry_);
    id_ = std::exchange(other.id_, 0);
  }
  return *this;
}

NSNotificationCenter::Token::~Token() { reset(); }

void NSNotificationCenter::Token::reset() {
  const auto registry = registry_.lock();
  if (registry && id_ != 0) {
    // The observer is let go of outside the lock: what it holds may hold tokens itself.
    std::shared_ptr<const Observer> observer;
    const std::lock_guard lock(registry->mutex);
    const auto found = registry->entries.find(id_);
    if (found != registry->entries.end()) {
      observer = std::move(found->second.observer);
      registry->entries.erase(found);
    }
  }
  registry_.reset();
  id_ = 0;
}

NSNotificationCenter::NSNotificationCenter() : registry_(std::make_shared<Registry>()) {}

NSNotificationCenter& NSNotificationCenter::defaultCenter() {
  static NSNotificationCenter center;
  return center;
}

NSNotificationCenter::Token NSNotificationCenter::addObserverForName_object(std::string name,
                                                                            const void* object,
                                                                            Observer observer) {
  auto shared = std::make_shared<const Observer>(std::move(observer));
  const std::lock_guard lock(registry_->mutex);
  const std::uint64_t id = ++registry_->lastId;
  registry_->entries.emplace(id, Registry::Entry{std::move(name), object, std::move(shared)});
  return {registry_, id};
}

void NSNotificationCenter::postNotificationName_object(std::string_view name, const void* object) {
  const auto registry = registry_;
  std::vector<std::uint64_t> called;
  {
    const std::lock_guard lock(registry->mutex);
    for (const auto& [id, entry] : registry->entries) {
      if (entry.name == name && (entry.object == nullptr || entry.object == object)) {
        called.push_back(id);
      }
    }
  }
  for (const std::uint64_t id : called) {
    std::shared_ptr<const Observer> observer;
    {
      const std::lock_guard lock(registry->mutex);
      const auto found = registry->entries.find(id);
      if (found != registry->entries.end()) {
        observer = found->second.observer;
      }
    }
    if (observer && *observer) {
      (*observer)({name, object});
    }
  }
}

}  // namespace kelvo
