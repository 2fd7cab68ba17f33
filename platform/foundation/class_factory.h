#pragma once

#include <memory>
#include <string_view>

namespace kelvo {

// What a module's factory does: an object of the class if that is the one wanted, owned by the
// caller. Null if it is not, or if the object cannot be made.
template <typename Class, typename Base>
Base* createObjectOfClass(std::string_view wanted, std::string_view name) noexcept try {
  return wanted == name ? std::make_unique<Class>().release() : nullptr;
} catch (...) {
  return nullptr;
}

}  // namespace kelvo
