#pragma once

#include <string>
#include <string_view>

namespace kelvo::kernel_language {

// A piece of source text for a message: 'name'. Long pieces are cut; bytes that are no printable
// ASCII are shown as <hex>, so that messages stay readable whatever the source holds.
std::string quote(std::string_view text);

}  // namespace kelvo::kernel_language
