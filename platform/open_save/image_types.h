#pragma once

#include <string_view>

namespace kelvo {

// The type of image that a file name's extension stands for, in upper or lower case: "public.jpeg"
// for "jpg". Empty if it stands for none.
std::string_view imageTypeForExtension(std::string_view extension);

}  // namespace kelvo
