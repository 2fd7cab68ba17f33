#pragma once

#include <string_view>

namespace kelvo::kernel_language {

// True if an enumeration has a name for the value: a table with an entry for each enumerator is
// whole if there is none for the value after its last. Compilers spell a nameless value as a cast.
template <auto kValue>
constexpr bool hasEnumerator() {
  constexpr std::string_view kText = __PRETTY_FUNCTION__;
  constexpr std::string_view kMark = "kValue = ";
  return kText[kText.rfind(kMark) + kMark.size()] != '(';
}

}  // namespace kelvo::kernel_language
