#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace kelvo {

// What observers are told: the name, and the object that posted it (compared, never looked into).
struct NSNotification {
  std::string_view name;
  const void* object = nullptr;
};

// Tells whoever asked about named events. Observers are called by the posting thread, in the order
// in which they registered, before the post returns. An observer may register and let go of
// observers, and post; one that registers during a post is called from the next post on, one that
// is let go of before its turn is not called any more.
class NSNotificationCenter {
  struct Registry;

 public:
  using Observer = std::function<void(const NSNotification&)>;

  // Ends the registration when it goes. May outlive the centre.
  class Token {
   public:
    Token() = default;
    Token(Token&& other) noexcept;
    Token& operator=(Token&& other) noexcept;
    Token(const Token&) = delete;
    Token& operator=(const Token&) = delete;
    ~Token();

   private:
    friend class NSNotificationCenter;
    Token(std::weak_ptr<Registry> registry, std::uint64_t id);
    void reset();

    std::weak_ptr<Registry> registry_;
    std::uint64_t id_ = 0;
  };

  NSNotificationCenter();

  // The one that the whole process shares.
  static NSNotificationCenter& defaultCenter();

  // `object` null: from anyone.
  [[nodiscard]] Token addObserverForName_object(std::string name, const void* object,
                                                Observer observer);
  void postNotificationName_object(std::string_view name, const void* object);

 private:
  std::shared_ptr<Registry> registry_;
};

}  // namespace kelvo
